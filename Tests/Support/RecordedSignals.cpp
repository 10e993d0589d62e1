#include "Support/RecordedSignals.h"

#include "Zel/System/Commons/Delegate.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <chrono>

namespace Zel::Tests::Support
{

using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::PropertiesChangedSignal;
using System::Commons::Delegate;
using System::Core::Format;

RecordedSignals::RecordedSignals()
{
    PropertiesChangedSignal::OnOperationChanged.Add(
        Delegate<const RaucOperationProperty&>::Bind<&RecordedSignals::OnOperation>(this));
    PropertiesChangedSignal::OnProgressChanged.Add(
        Delegate<const RaucProgressProperty&>::Bind<&RecordedSignals::OnProgress>(this));
    PropertiesChangedSignal::OnLastErrorChanged.Add(
        Delegate<const RaucLastErrorProperty&>::Bind<&RecordedSignals::OnLastError>(this));
    RaucCompletedSignal::OnCompleted.Add(
        Delegate<const RaucCompletedSignal&>::Bind<&RecordedSignals::OnCompleted>(this));
}

RecordedSignals::~RecordedSignals()
{
    PropertiesChangedSignal::OnOperationChanged.Remove(
        Delegate<const RaucOperationProperty&>::Bind<&RecordedSignals::OnOperation>(this));
    PropertiesChangedSignal::OnProgressChanged.Remove(
        Delegate<const RaucProgressProperty&>::Bind<&RecordedSignals::OnProgress>(this));
    PropertiesChangedSignal::OnLastErrorChanged.Remove(
        Delegate<const RaucLastErrorProperty&>::Bind<&RecordedSignals::OnLastError>(this));
    RaucCompletedSignal::OnCompleted.Remove(
        Delegate<const RaucCompletedSignal&>::Bind<&RecordedSignals::OnCompleted>(this));
}

std::vector<String> RecordedSignals::GetLines() const
{
    const std::lock_guard lock(mutex);
    return lines;
}

void RecordedSignals::Clear()
{
    const std::lock_guard lock(mutex);
    lines.clear();
}

bool RecordedSignals::WaitFor(const String& line) const
{
    std::unique_lock lock(mutex);
    return added.wait_for(lock, std::chrono::seconds(10),
                          [&] { return std::ranges::find(lines, line) != lines.end(); });
}

void RecordedSignals::OnOperation(const RaucOperationProperty& property)
{
    Add("Operation " + property.GetOperation());
}

void RecordedSignals::OnProgress(const RaucProgressProperty& property)
{
    Add(Format("Progress {0} {1} {2}", property.GetPercentage(), property.GetMessage(),
               property.GetNestingDepth()));
}

void RecordedSignals::OnLastError(const RaucLastErrorProperty& property)
{
    Add("LastError " + property.GetMessage());
}

void RecordedSignals::OnCompleted(const RaucCompletedSignal& signal)
{
    Add(Format("Completed {0}", signal.GetReturnCode()));
}

void RecordedSignals::Add(const String& line)
{
    const std::lock_guard lock(mutex);
    lines.push_back(line);
    added.notify_all();
}

} // namespace Zel::Tests::Support

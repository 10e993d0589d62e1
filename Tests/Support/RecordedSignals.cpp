#include "Support/RecordedSignals.h"

#include "Zel/System/Commons/Delegate.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Tests::Support
{

using RaucBus::PropertiesChangedSignal;
using RaucBus::RaucCompletedSignal;
using System::Commons::Delegate;
using System::Core::Format;

template <typename Change>
void RecordedSignals::ForEachEvent(const Change& change)
{
    using Self = RecordedSignals;
    change(PropertiesChangedSignal::OnOperationChanged,
           Delegate<const RaucBus::RaucOperationProperty&>::Bind<&Self::OnOperation>(this));
    change(PropertiesChangedSignal::OnProgressChanged,
           Delegate<const RaucBus::RaucProgressProperty&>::Bind<&Self::OnProgress>(this));
    change(PropertiesChangedSignal::OnLastErrorChanged,
           Delegate<const RaucBus::RaucLastErrorProperty&>::Bind<&Self::OnLastError>(this));
    change(RaucCompletedSignal::OnCompleted,
           Delegate<const RaucCompletedSignal&>::Bind<&Self::OnCompleted>(this));
}

RecordedSignals::RecordedSignals()
{
    ForEachEvent([](auto& event, const auto& handler) { event.Add(handler); });
}

RecordedSignals::~RecordedSignals()
{
    ForEachEvent([](auto& event, const auto& handler) { event.Remove(handler); });
}

bool RecordedSignals::WaitFor(const String& line) const
{
    return lines.WaitFor([&](const String& entry) { return entry == line; }, std::chrono::seconds(10));
}

void RecordedSignals::OnOperation(const RaucBus::RaucOperationProperty& property)
{
    lines.Add("Operation " + property.GetOperation());
}

void RecordedSignals::OnProgress(const RaucBus::RaucProgressProperty& property)
{
    lines.Add(Format("Progress {0} {1} {2}", property.GetPercentage(), property.GetMessage(),
                     property.GetNestingDepth()));
}

void RecordedSignals::OnLastError(const RaucBus::RaucLastErrorProperty& property)
{
    lines.Add("LastError " + property.GetMessage());
}

void RecordedSignals::OnCompleted(const RaucCompletedSignal& signal)
{
    lines.Add(Format("Completed {0}", signal.GetReturnCode()));
}

} // namespace Zel::Tests::Support

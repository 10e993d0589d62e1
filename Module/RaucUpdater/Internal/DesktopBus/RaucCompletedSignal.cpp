#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucCompletedSignal::RaucCompletedSignal(std::int32_t returnCode) noexcept : returnCode(returnCode) {}

bool RaucCompletedSignal::Notify(const DesktopBusMessage& message)
{
    const auto fields = message.ReadFields();
    std::int32_t returnCode = -1;
    if (fields.empty() || !fields.front().TryGetInt32(returnCode))
    {
        return false;
    }
    Log(LogLevel::Debug, "returnCode={0}", returnCode);
    OnCompleted.Raise(RaucCompletedSignal(returnCode));
    return true;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "Cli/ComponentState.h"

#include <algorithm>

namespace Zel::Host::Cli
{

namespace
{

// Fixed texts of the updater: the service passes them on as they are and offers nothing else to go by.
const String GoingToReboot = "The device is going to reboot.";
const String FailedToReboot = "Failed to reboot device.";

} // namespace

bool ComponentState::IsWaiting() const
{
    return state == Installing && nextStart != 0;
}

bool ComponentState::IsRestarting() const
{
    return state == Installing && message == GoingToReboot;
}

bool ComponentState::IsRestartByHand() const
{
    return state == Installing && message.starts_with(FailedToReboot);
}

int ComponentState::GetShownPercent() const
{
    if (IsRestarting() || IsRestartByHand())
    {
        return 100;
    }
    return std::clamp(progressPercent, 0, state == Installing ? 99 : 100);
}

const String& ComponentState::GetShownMessage() const
{
    return message.empty() ? progressText : message;
}

} // namespace Zel::Host::Cli

#include "Cli/ComponentState.h"

#include <algorithm>

namespace Zel::Host::Cli
{

namespace
{

// The updater's fixed texts: the service passes them on as they are and offers nothing else to go by.
const String GoingToReboot = "The device is going to reboot.";
const String FailedToReboot = "Failed to reboot device.";
const String NotConfirmed = "Confirm has not been sent. Device switched back";
const String DidNotBootOther = "The device did not boot the other slot";

} // namespace

bool Verdict::IsSwitchedBack() const
{
    return result == "failed" && (reason.starts_with(NotConfirmed) || reason.starts_with(DidNotBootOther));
}

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

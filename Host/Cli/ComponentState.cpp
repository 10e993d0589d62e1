#include "Cli/ComponentState.h"

#include <algorithm>

namespace Zel::Host::Cli
{

bool ComponentState::IsWaiting() const
{
    return activity == Activity::Waiting || (activity.empty() && nextStart != 0);
}

bool ComponentState::IsThrough() const
{
    return activity == Activity::Restarting || activity == Activity::RestartNeeded;
}

int ComponentState::GetShownPercent() const
{
    return IsThrough() ? 100 : std::clamp(progressPercent, 0, state == Api::State::Installing ? 99 : 100);
}

const String& ComponentState::GetShownMessage() const
{
    return message.empty() ? progressText : message;
}

} // namespace Zel::Host::Cli

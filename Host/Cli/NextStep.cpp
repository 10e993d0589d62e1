#include "Cli/NextStep.h"

#include "Cli/TimeText.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

String DescribeWhileInstalling(const ComponentState& state)
{
    if (state.IsRestarting())
    {
        return "After the restart 'zelupdate status' tells the verdict.";
    }
    if (state.IsRestartByHand())
    {
        return "Restart the device by hand; after that 'zelupdate status' tells the verdict.";
    }
    if (state.IsWaiting())
    {
        return Format("The installation starts by itself at {0}; 'zelupdate cancel' calls it off.",
                      ToTimeText(state.nextStart));
    }
    return "The installation goes on by itself and ends with a restart; 'zelupdate status' shows how it "
           "goes.";
}

} // namespace

String DescribeNextStep(const ComponentState& state)
{
    if (state.state == ComponentState::Installing)
    {
        return DescribeWhileInstalling(state);
    }
    if (state.state == ComponentState::Failed)
    {
        return "'zelupdate resume' leaves the failed state; then 'zelupdate install' can begin again.";
    }
    const String install = state.pendingVersion.empty()
                               ? String("'zelupdate install FILE' installs a bundle")
                               : Format("'zelupdate install' installs version {0}", state.pendingVersion);
    return install + (state.revertible ? "; 'zelupdate revert' goes back to the earlier version." : ".");
}

} // namespace Zel::Host::Cli

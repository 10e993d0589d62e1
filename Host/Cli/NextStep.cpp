#include "Cli/NextStep.h"

#include "Cli/TimeText.h"
#include "Zel/System/Core/Format.h"

#include <array>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// What comes next by itself, or has to be done, before anything else can begin.
struct ActivityRow
{
    const String& activity;
    const char* next;
};

const std::array ActivityRows = {
    ActivityRow{Activity::Starting, "Call again in a moment: the service gets ready."},
    ActivityRow{Activity::Restarting, "After the restart 'zelupdate status' tells the verdict."},
    ActivityRow{Activity::RestartNeeded,
                "Restart the device by hand; after that 'zelupdate status' tells the verdict."},
    ActivityRow{Activity::Deciding,
                "The service goes on as soon as RAUC answers; 'systemctl status rauc' shows "
                "whether it runs, 'zelupdate wait' waits."},
    ActivityRow{Activity::Reverting,
                "The device goes back by itself and restarts; 'zelupdate status' tells how it "
                "ended."},
    ActivityRow{Activity::Installing,
                "The installation goes on by itself and ends with a restart; 'zelupdate "
                "status' shows how it goes."},
};

/// What can be installed: not without a word what has just failed.
String DescribeInstallation(const ComponentState& state)
{
    if (state.pendingVersion.empty() && !state.KnowsVersions())
    {
        return "The versions are read as soon as RAUC answers; 'systemctl status rauc' shows whether it runs";
    }
    if (state.pendingVersion.empty())
    {
        return "'zelupdate install FILE' installs a bundle";
    }
    const bool failed = !state.lastVerdict.result.empty() &&
                        state.lastVerdict.result != Api::Result::Succeeded &&
                        state.lastVerdict.version == state.pendingVersion;
    return failed
               ? Format("'zelupdate install FILE' installs another bundle; 'zelupdate install' tries version "
                        "{0} again, which has failed",
                        state.pendingVersion)
               : Format("'zelupdate install' installs version {0}", state.pendingVersion);
}

} // namespace

String DescribeNextStep(const ComponentState& state)
{
    // Also while the service gets ready again.
    if (state.state == Api::State::Failed)
    {
        return "'zelupdate resume' leaves the failed state; then 'zelupdate install' can begin again.";
    }
    if (state.IsWaiting())
    {
        return Format("The installation starts by itself at {0}; 'zelupdate cancel' calls it off.",
                      ToTimeText(state.nextStart));
    }
    // An older service does not tell its activity.
    const bool unknown = state.activity.empty() && state.state == Api::State::Installing;
    const String& activity = unknown ? Activity::Installing : state.activity;
    for (const ActivityRow& row : ActivityRows)
    {
        if (row.activity == activity)
        {
            return row.next;
        }
    }
    const char* const revert = "; 'zelupdate revert' goes back to the earlier version.";
    return DescribeInstallation(state) + (state.revertible ? revert : ".");
}

} // namespace Zel::Host::Cli

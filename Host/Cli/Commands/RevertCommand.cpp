#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/NextStep.h"

namespace Zel::Host::Cli
{

namespace
{

Report ToRestarting(const ComponentState& state)
{
    Report report;
    report.outcome = "restarting";
    report.summary =
        "The device goes back to the version that the last installation started from, and restarts.";
    report.next = "After the restart 'zelupdate status' tells that the device switched back, "
                  "and 'zelupdate resume' makes it ready for the next installation.";
    report.component = state;
    return report;
}

Report ToNothingToDo(const ComponentState& state)
{
    Report report;
    report.outcome = "nothing-to-do";
    report.summary = "There is no installation to go back from.";
    report.next = DescribeNextStep(state);
    report.component = state;
    return report;
}

} // namespace

Report RunRevert(Session& session)
{
    BusClient& client = session.Connect();
    const ComponentState before = client.GetState();
    const bool alreadyInstalling = before.state == ComponentState::Installing;
    bool accepted = false;
    try
    {
        client.Revert();
        accepted = true;
        client.Refresh();
    }
    catch (const BusError& error)
    {
        const bool begun = accepted || client.GetState().state == ComponentState::Installing;
        if (error.GetExitCode() == ExitCode::ServiceUnreachable && begun && !alreadyInstalling)
        {
            return ToRestarting(client.GetState());
        }
        const bool nothing = error.GetShortName() == "InvalidState" && !before.revertible;
        if (nothing && !alreadyInstalling)
        {
            return ToNothingToDo(before);
        }
        throw;
    }
    const bool restarting = client.GetState().state == ComponentState::Installing;
    return restarting ? ToRestarting(client.GetState()) : ToNothingToDo(client.GetState());
}

} // namespace Zel::Host::Cli

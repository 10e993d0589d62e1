#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"

namespace Zel::Host::Cli
{

namespace
{

Report ToRestarting(const ComponentState& state, bool restartExitCode)
{
    Report report = MakeReport(
        state, "restarting",
        "The device goes back to the version that the last installation started from, and restarts.",
        restartExitCode ? ExitCode::RestartNeeded : ExitCode::Done);
    report.next = "After the restart 'zelupdate status' tells that the device switched back, "
                  "and 'zelupdate resume' makes it ready for the next installation.";
    return report;
}

Report ToNothingToDo(const ComponentState& state)
{
    return MakeReport(state, "nothing-to-do", "There is no installation to go back from.");
}

Report ToDeclined(const ComponentState& state)
{
    return MakeReport(state, "declined", "not reverted, as answered", ExitCode::Failed);
}

} // namespace

Report RunRevert(Session& session)
{
    BusClient& client = session.Connect();
    const ComponentState before = client.GetState();
    const bool alreadyInstalling = before.state == Api::State::Installing;
    const bool restartExitCode = session.GetArguments().restartExitCode;
    if (!session.Confirm("Go back to the earlier version and restart the device?"))
    {
        return ToDeclined(before);
    }
    bool accepted = false;
    try
    {
        client.Revert();
        accepted = true;
        client.Refresh();
    }
    catch (const BusError& error)
    {
        const bool begun = accepted || client.GetState().state == Api::State::Installing;
        if (error.GetExitCode() == ExitCode::ServiceUnreachable && begun && !alreadyInstalling)
        {
            return ToRestarting(client.GetState(), restartExitCode);
        }
        const bool nothing = error.IsStateRefused() && !before.revertible;
        if (nothing && !alreadyInstalling)
        {
            return ToNothingToDo(before);
        }
        throw;
    }
    const bool restarting = client.GetState().state == Api::State::Installing;
    return restarting ? ToRestarting(client.GetState(), restartExitCode) : ToNothingToDo(client.GetState());
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Commands/Installation.h"

namespace Zel::Host::Cli
{

Report RunRevert(Session& session)
{
    BusClient& client = session.Connect();
    const ComponentState before = client.GetState();
    const bool alreadyInstalling = before.state == Api::State::Installing;
    // What is refused in any case is not asked about.
    const bool possible = before.revertible && !alreadyInstalling;
    if (possible && !session.Confirm("Go back to the earlier version and restart the device?"))
    {
        return MakeReport(before, "declined", "not reverted, as answered", ExitCode::Failed);
    }
    try
    {
        return Installation(session, client, {Api::Kind::Revert, ""}).Run();
    }
    catch (const BusError& error)
    {
        if (!error.IsStateRefused() || before.revertible || alreadyInstalling)
        {
            throw;
        }
        return MakeReport(before, "nothing-to-do", "There is no installation to go back from.");
    }
}

} // namespace Zel::Host::Cli

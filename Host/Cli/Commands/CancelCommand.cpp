#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Commands/Following.h"
#include "Cli/Commands/InstallationReport.h"

namespace Zel::Host::Cli
{

Report RunCancel(Session& session)
{
    BusClient& client = session.Connect();
    try
    {
        // Asked for also where nothing waits: the service says who may.
        client.Cancel();
    }
    catch (const BusError& error)
    {
        if (!error.IsStateRefused())
        {
            throw;
        }
        client.Refresh();
        if (client.GetState().state == Api::State::Installing)
        {
            throw;
        }
        return MakeReport(client.GetState(), "nothing-to-do",
                          "No installation waits: there is nothing to call off.");
    }
    client.Refresh();
    const std::vector<PastInstallation> past = ReadPast(client);
    const Undertaking undertaking =
        past.empty() ? Undertaking() : Undertaking{past.front().kind, past.front().to};
    return InstallationReport(undertaking, false).ToCancelled(client.GetState());
}

} // namespace Zel::Host::Cli

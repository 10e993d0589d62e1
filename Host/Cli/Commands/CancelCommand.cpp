#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"

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
    return MakeReport(client.GetState(), "called-off", "The installation is called off.");
}

} // namespace Zel::Host::Cli

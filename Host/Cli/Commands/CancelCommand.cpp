#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/ComponentReport.h"

namespace Zel::Host::Cli
{

Report RunCancel(Session& session)
{
    BusClient& client = session.Connect();
    if (client.GetState().state != ComponentState::Installing)
    {
        return MakeReport(client.GetState(), "nothing-to-do",
                          "No installation waits: there is nothing to call off.");
    }
    client.Cancel();
    client.Refresh();
    return MakeReport(client.GetState(), "called-off", "The installation is called off.");
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/ComponentReport.h"

namespace Zel::Host::Cli
{

Report RunResume(Session& session)
{
    BusClient& client = session.Connect();
    if (client.GetState().state == ComponentState::Idle)
    {
        return MakeReport(client.GetState(), "nothing-to-do",
                          "The last installation has not failed: there is nothing to resume.");
    }
    client.Resume();
    client.Refresh();
    return MakeReport(client.GetState(), "resumed", "The failed state is left.");
}

} // namespace Zel::Host::Cli

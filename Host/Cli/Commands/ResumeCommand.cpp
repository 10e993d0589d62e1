#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"

namespace Zel::Host::Cli
{

Report RunResume(Session& session)
{
    BusClient& client = session.Connect();
    try
    {
        // Asked for also where nothing has failed: the service says who may.
        client.Resume();
    }
    catch (const BusError& error)
    {
        if (!error.IsStateRefused())
        {
            throw;
        }
        client.Refresh();
        const ComponentState& state = client.GetState();
        return MakeReport(state, "nothing-to-do",
                          state.state == Api::State::Installing
                              ? "Nothing has failed: an installation or a revert is under way."
                              : "The last installation has not failed: there is nothing to resume.");
    }
    client.Refresh();
    return MakeReport(client.GetState(), "resumed", "The failed state is left.");
}

} // namespace Zel::Host::Cli

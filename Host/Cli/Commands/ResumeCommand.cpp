#include "Cli/Commands/Verbs.h"

#include "Cli/NextStep.h"

namespace Zel::Host::Cli
{

Report RunResume(Session& session)
{
    BusClient& client = session.Connect();
    Report report;
    if (client.GetState().state == ComponentState::Idle)
    {
        report.outcome = "nothing-to-do";
        report.summary = "The last installation has not failed: there is nothing to resume.";
    }
    else
    {
        client.Resume();
        client.Refresh();
        report.outcome = "resumed";
        report.summary = "The failed state is left.";
    }
    report.component = client.GetState();
    report.next = DescribeNextStep(*report.component);
    return report;
}

} // namespace Zel::Host::Cli

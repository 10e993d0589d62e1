#include "Cli/Commands/Verbs.h"

#include "Cli/NextStep.h"

namespace Zel::Host::Cli
{

Report RunStatus(Session& session)
{
    Report report;
    report.outcome = "shown";
    report.component = session.Connect().GetState();
    report.facts = FactSet::All;
    report.next = DescribeNextStep(*report.component);
    return report;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"

namespace Zel::Host::Cli
{

Report RunVersions(Session& session)
{
    const ComponentState& state = session.Connect().GetState();
    Report report = MakeReport(state, "shown", "");
    report.facts = Facts::OfVersions(state);
    return report;
}

} // namespace Zel::Host::Cli

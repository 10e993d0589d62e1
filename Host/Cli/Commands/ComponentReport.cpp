#include "Cli/Commands/ComponentReport.h"

#include "Cli/NextStep.h"

namespace Zel::Host::Cli
{

Report MakeReport(const ComponentState& state, const String& outcome, const String& summary,
                  ExitCode exitCode)
{
    Report report;
    report.exitCode = exitCode;
    report.outcome = outcome;
    report.summary = summary;
    report.next = DescribeNextStep(state);
    report.component = state.id;
    return report;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/Bundle.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"

namespace Zel::Host::Cli
{

namespace
{

Table ToTable(const std::vector<BundleCheck>& checks)
{
    Table table = {"checks", {{"Check", "name"}, {"Result", "result"}, {"What to do", "text"}}, {}};
    for (const BundleCheck& check : checks)
    {
        table.rows.push_back({{check.name, check.result, Facts::TextOrNone(check.text)}, {}});
    }
    return table;
}

} // namespace

Report RunCheck(Session& session)
{
    const BundleInspection bundle = InspectBundle(session);
    Report report = MakeReport(session.GetClient().GetState(), "ready", "The bundle could be installed now.");
    report.next = "'zelupdate install FILE' installs it.";
    report.facts = {Facts::Text("Version", "/version", bundle.version)};
    report.tables = {ToTable(bundle.checks)};
    if (const BundleCheck* const failure = FindFailure(bundle.checks))
    {
        SetFailure(*failure, report);
    }
    return report;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/Bundle.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"

#include <algorithm>

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

/// Sets how the checks ended, by the worst of them.
void Judge(const std::vector<BundleCheck>& checks, Report& report)
{
    const auto failed = [](const BundleCheck& check) { return check.result == BundleCheck::Fail; };
    // What is wrong with the bundle itself, no later call changes.
    const bool rejected =
        std::any_of(checks.begin(), checks.end(),
                    [&failed](const BundleCheck& check)
                    { return failed(check) && (check.name == "signature" || check.name == "compatible"); });
    if (std::none_of(checks.begin(), checks.end(), failed))
    {
        report.outcome = "ready";
        report.summary = "The bundle could be installed now.";
        report.next = "'zelupdate install FILE' installs it.";
        return;
    }
    report.exitCode = rejected ? ExitCode::BundleRejected : ExitCode::TryLater;
    report.outcome = rejected ? "rejected" : "not-now";
    report.summary = rejected ? "the bundle would be rejected" : "the bundle cannot be installed now";
    report.next = rejected ? "Get another bundle." : "Do what the failed checks say, then check again.";
}

} // namespace

Report RunCheck(Session& session)
{
    const auto file = OpenBundle(session);
    BusClient& client = session.Connect();
    const BundleInspection bundle = client.Inspect(file.Get());
    Report report = MakeReport(client.GetState(), "", "");
    report.facts = {Facts::Text("Version", "/version", bundle.version)};
    report.tables = {ToTable(bundle.checks)};
    Judge(bundle.checks, report);
    return report;
}

} // namespace Zel::Host::Cli

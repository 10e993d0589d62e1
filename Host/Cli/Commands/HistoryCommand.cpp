#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"
#include "Cli/TimeText.h"

namespace Zel::Host::Cli
{

namespace
{

Table ToTable(const std::vector<HistoryStep>& steps)
{
    Table table = {"steps", {{"Time", "time"}, {"Step", "what"}}, {}};
    for (const HistoryStep& step : steps)
    {
        table.rows.push_back({{Facts::TextOrNone(ToTimeText(step.time)), Facts::TextOrNone(step.what)}, {}});
    }
    return table;
}

Table ToTable(const std::vector<PastInstallation>& entries, bool withSteps)
{
    Table table = {"entries",
                   {{"Begun", "begun"},
                    {"Ended", "ended"},
                    {"Kind", "kind"},
                    {"From", "from"},
                    {"To", "to"},
                    {"Slot", "slot"},
                    {"Result", "result"},
                    {"By", "caller"},
                    {"Reason", "reason"}},
                   {}};
    for (const PastInstallation& entry : entries)
    {
        TableRow row = {{Facts::TextOrNone(ToTimeText(entry.begun)),
                         Facts::TextOrNone(ToTimeText(entry.ended)), Facts::TextOrNone(entry.kind),
                         Facts::TextOrNone(entry.from), Facts::TextOrNone(entry.to),
                         Facts::TextOrNone(entry.slot), Facts::TextOrNone(entry.result),
                         Facts::TextOrNone(entry.caller), Facts::TextOrNone(entry.reason)},
                        {}};
        if (withSteps)
        {
            row.details = {ToTable(entry.steps)};
        }
        table.rows.push_back(std::move(row));
    }
    return table;
}

} // namespace

Report RunHistory(Session& session)
{
    const Arguments& arguments = session.GetArguments();
    BusClient& client = session.Connect();
    const std::vector<PastInstallation> entries = client.ReadHistory(arguments.count);
    Report report = MakeReport(client.GetState(), "shown", "");
    report.summary = entries.empty() ? "Nothing was installed yet." : "";
    report.tables = {ToTable(entries, arguments.steps)};
    return report;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/Facts.h"

namespace Zel::Host::Cli
{

Report RunComponents(Session& session)
{
    BusClient& client = session.GetClient();
    const ServiceDescription service = client.ReadService();
    Table table = {
        "components", {{"Component", "id"}, {"State", "state"}, {"Running version", "current"}}, {}};
    for (const String& id : session.Choose(service.components))
    {
        client.Select(id);
        const ComponentState& state = client.GetState();
        table.rows.push_back({{id, state.state, Facts::TextOrNone(state.currentVersion)}, {}});
    }
    Report report;
    report.outcome = "shown";
    report.facts = {Facts::Text("Service version", "/serviceVersion", service.version),
                    {"Modules", Join(service.modules, ", "), {{"/modules", service.modules}}}};
    report.tables = {table};
    report.next = "'zelupdate status --component ID' shows everything about one.";
    return report;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/Bundle.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

Report RunStage(Session& session)
{
    const auto bundle = OpenBundle(session);
    BusClient& client = session.Connect();
    const String version = StageBundle(session, client, bundle);
    Report report = MakeReport(client.GetState(), "staged", "");
    report.facts = {Facts::Text("Staged version", "/stagedVersion", version)};
    return report;
}

} // namespace Zel::Host::Cli

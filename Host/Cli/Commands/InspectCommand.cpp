#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/Bundle.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Core::Format;

Report RunInspect(Session& session)
{
    const auto file = OpenBundle(session);
    BusClient& client = session.Connect();
    const BundleInspection bundle = client.Inspect(file.Get());
    Report report = MakeReport(client.GetState(), "shown", "");
    const auto size = static_cast<std::int64_t>(bundle.size);
    report.facts = {Facts::Text("Version", "/version", bundle.version),
                    Facts::Text("Compatible", "/compatible", bundle.compatible),
                    Facts::Text("This device", "/deviceCompatible", bundle.deviceCompatible),
                    Facts::YesOrNo("Fits", "/fits", bundle.fits),
                    {"Size", Format("{0} bytes", size), {{"/size", size}}}};
    if (!bundle.fits)
    {
        report.exitCode = ExitCode::BundleRejected;
        report.outcome = "rejected";
        report.summary = "the bundle is not trusted, or not for this device";
    }
    report.next = "'zelupdate check FILE' shows whether it could be installed now.";
    return report;
}

} // namespace Zel::Host::Cli

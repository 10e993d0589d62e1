#include "Cli/Commands/Verbs.h"

#include "Cli/Commands/Bundle.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// A failed check that does not tell what the bundle is for is none of this command's.
void Judge(const BundleInspection& bundle, Report& report)
{
    if (bundle.fits)
    {
        report.next = "'zelupdate check FILE' shows whether it could be installed now.";
    }
    else if (const BundleCheck* const failure = FindFailure(bundle.checks))
    {
        SetFailure(*failure, report);
    }
    else
    {
        report.exitCode = ExitCode::TryLater;
        report.outcome = "unknown";
        report.summary = "RAUC does not tell whether the bundle fits this device";
        report.next = "'systemctl status rauc' shows whether it runs; then look again.";
    }
}

Fact OfSize(std::uint64_t bytes)
{
    const auto size = static_cast<std::int64_t>(bytes);
    return {"Size",
            size == 0 ? String() : Format("{0} bytes", size),
            {{"/size", size == 0 ? FactValue() : FactValue(size)}}};
}

} // namespace

Report RunInspect(Session& session)
{
    const BundleInspection bundle = InspectBundle(session);
    Report report = MakeReport(session.GetClient().GetState(), "shown", "");
    report.facts = {Facts::Text("Version", "/version", bundle.version),
                    Facts::Text("Compatible", "/compatible", bundle.compatible),
                    Facts::Text("This device", "/deviceCompatible", bundle.deviceCompatible),
                    Facts::YesOrNo("Fits", "/fits", bundle.fits), OfSize(bundle.size)};
    Judge(bundle, report);
    return report;
}

} // namespace Zel::Host::Cli

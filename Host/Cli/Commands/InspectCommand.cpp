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

/// Checks that are not about the bundle itself are none of this command's. `rejection` is the failed one that
/// is, or null.
void Judge(const BundleInspection& bundle, const BundleCheck* rejection, Report& report)
{
    if (bundle.fits)
    {
        report.next = "'zelupdate check FILE' shows whether it could be installed now.";
    }
    else if (rejection != nullptr)
    {
        SetFailure(*rejection, report);
    }
    else
    {
        report.exitCode = ExitCode::TryLater;
        report.outcome = "unknown";
        report.summary = "RAUC does not tell whether the bundle fits this device";
        report.next = "'systemctl status rauc' shows whether it runs; then look again.";
    }
}

/// Without a check of the bundle that fails, one that does not fit is one that nothing is known about.
Fact OfFit(const BundleInspection& bundle, const BundleCheck* rejection)
{
    return bundle.fits || rejection != nullptr ? Facts::YesOrNo("Fits", "/fits", bundle.fits)
                                               : Fact{"Fits", "unknown", {{"/fits", {}}}};
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
    const BundleCheck* const rejection = FindRejection(bundle.checks);
    Report report = MakeReport(session.GetClient().GetState(), "shown", "");
    report.facts = {Facts::Text("Version", "/version", bundle.version),
                    Facts::Text("Compatible", "/compatible", bundle.compatible),
                    Facts::Text("This device", "/deviceCompatible", bundle.deviceCompatible),
                    OfFit(bundle, rejection), OfSize(bundle.size)};
    Judge(bundle, rejection, report);
    return report;
}

} // namespace Zel::Host::Cli

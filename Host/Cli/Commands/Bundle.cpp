#include "Cli/Commands/Bundle.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/BundleFile.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Commons::Io::FileDescriptor;
using System::Core::Format;

namespace
{

void TellHandover(Session& session, const FileDescriptor& bundle)
{
    session.GetOutput().WriteLine(Format("Handing over {0} ...", bundle.GetPath()));
}

/// Whether a check is about the bundle alone. That of the version fails for one that is too long.
bool IsOfBundle(const BundleCheck& check)
{
    return check.name == "signature" || check.name == "compatible" || check.name == "version";
}

} // namespace

FileDescriptor OpenBundle(Session& session)
{
    const String path = session.GetArguments().file.value_or("");
    if (path == StandardInput)
    {
        static_cast<void>(session.Connect());
    }
    return OpenBundle(path, session.GetInterrupts());
}

String StageBundle(Session& session, BusClient& client, const FileDescriptor& bundle)
{
    TellHandover(session, bundle);
    String version = client.Stage(bundle.Get());
    client.Refresh();
    session.GetOutput().WriteLine(Format("The bundle is verified: version {0}.", version));
    return version;
}

BundleInspection InspectBundle(Session& session)
{
    const auto bundle = OpenBundle(session);
    BusClient& client = session.Connect();
    TellHandover(session, bundle);
    return client.Inspect(bundle.Get());
}

const BundleCheck* FindRejection(const std::vector<BundleCheck>& checks)
{
    const BundleCheck* const failure = FindFailure(checks);
    return failure != nullptr && IsOfBundle(*failure) ? failure : nullptr;
}

const BundleCheck* FindFailure(const std::vector<BundleCheck>& checks)
{
    const BundleCheck* failure = nullptr;
    for (const BundleCheck& check : checks)
    {
        const bool tellsMore = failure == nullptr || (IsOfBundle(check) && !IsOfBundle(*failure));
        failure = check.result == Api::Grade::Fail && tellsMore ? &check : failure;
    }
    return failure;
}

void SetFailure(const BundleCheck& check, Report& report)
{
    const bool rejected = IsOfBundle(check);
    report.exitCode = rejected ? ExitCode::BundleRejected : ExitCode::TryLater;
    report.outcome = rejected ? "rejected" : "not-now";
    report.summary =
        (rejected ? "the bundle would be rejected: " : "the bundle cannot be installed now: ") + check.text;
    report.next = rejected ? "Get another bundle." : "Do what the failed checks say, then check again.";
}

} // namespace Zel::Host::Cli

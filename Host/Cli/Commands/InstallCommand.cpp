#include "Cli/Commands/Verbs.h"

#include "Cli/BundleFile.h"
#include "Cli/Commands/Installation.h"
#include "Cli/NextStep.h"
#include "Zel/System/Core/Format.h"

#include <optional>

namespace Zel::Host::Cli
{

using System::Commons::Io::FileDescriptor;
using System::Core::Format;

namespace
{

/// A bundle is not handed over for an installation that is going to be refused.
void RefuseAfterFailure(const ComponentState& state)
{
    if (state.state == ComponentState::Failed)
    {
        // A service that was started since has no message any more.
        const String& reason = state.message.empty() ? state.lastVerdict.reason : state.message;
        throw CommandError(ExitCode::TryLater, "refused: the last installation has failed: " + reason,
                           DescribeNextStep(state));
    }
}

/// Returns the bundle's version.
String Stage(Session& session, BusClient& client, const FileDescriptor& bundle)
{
    session.GetOutput().WriteLine(Format("Handing over {0} ...", bundle.GetPath()));
    const String version = client.Stage(bundle.Get());
    client.Refresh();
    session.GetOutput().WriteLine(Format("The bundle is verified: version {0}.", version));
    return version;
}

Report ToInterrupted(const Interrupted& interrupted)
{
    Report report;
    report.exitCode = ExitCode::Failed;
    report.outcome = "interrupted";
    report.summary = "interrupted before anything was installed";
    report.next = "'zelupdate versions' shows whether the bundle was taken over.";
    report.signalNumber = interrupted.GetSignalNumber();
    return report;
}

} // namespace

Report RunInstall(Session& session)
{
    std::optional<FileDescriptor> bundle;
    if (session.GetArguments().file)
    {
        bundle = OpenBundle(*session.GetArguments().file);
    }
    BusClient& client = session.Connect();
    const ComponentState& state = client.GetState();
    RefuseAfterFailure(state);
    String target = session.GetArguments().fallback ? state.fallbackVersion : state.pendingVersion;
    try
    {
        if (bundle)
        {
            target = Stage(session, client, *bundle);
            bundle.reset();
        }
    }
    catch (const Interrupted& interrupted)
    {
        return ToInterrupted(interrupted);
    }
    return Installation(session, client, target).Run();
}

} // namespace Zel::Host::Cli

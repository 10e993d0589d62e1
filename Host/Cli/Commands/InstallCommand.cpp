#include "Cli/Commands/Verbs.h"

#include "Cli/BundleFile.h"
#include "Cli/BusError.h"
#include "Cli/Commands/Bundle.h"
#include "Cli/Commands/ComponentReport.h"
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

/// For an installation that is going to be refused no bundle is handed over, no standard input read to its
/// end and nobody asked. It is the service that refuses: for want of rights before anything else.
void RefuseByState(BusClient& client)
{
    const ComponentState& state = client.GetState();
    if (state.state == Api::State::Idle && state.activity != Activity::Starting)
    {
        return;
    }
    try
    {
        client.TryInstall();
    }
    catch (const BusError& error)
    {
        if (!error.IsStateRefused() || state.state != Api::State::Failed)
        {
            throw;
        }
        // A service that was started since has no message any more.
        const String& reason = state.message.empty() ? state.lastVerdict.reason : state.message;
        throw CommandError(ExitCode::TryLater, "refused: the last installation has failed: " + reason,
                           DescribeNextStep(state));
    }
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

/// Whether the operator wants it, where one is to be asked. The service refuses a version that there is not.
bool Confirm(Session& session, const ComponentState& state, const Undertaking& undertaking)
{
    const bool possible = !undertaking.version.empty() || !state.KnowsVersions();
    const String version = undertaking.DescribeVersion();
    return !possible || session.Confirm(state.currentVersion.empty()
                                            ? Format("Install {0} and restart the device?", version)
                                            : Format("Install {0} in place of {1} and restart the device?",
                                                     version, state.currentVersion));
}

} // namespace

Report RunInstall(Session& session)
{
    if (session.GetArguments().file == StandardInput)
    {
        RefuseByState(session.Connect());
    }
    std::optional<FileDescriptor> bundle;
    if (session.GetArguments().file)
    {
        bundle = OpenBundle(session);
    }
    BusClient& client = session.Connect();
    const ComponentState& state = client.GetState();
    RefuseByState(client);
    Undertaking undertaking = session.GetArguments().fallback
                                  ? Undertaking{Api::Kind::Fallback, state.fallbackVersion}
                                  : Undertaking{Api::Kind::Install, state.pendingVersion};
    try
    {
        if (bundle)
        {
            undertaking.version = StageBundle(session, client, *bundle);
            bundle.reset();
        }
        if (!Confirm(session, state, undertaking))
        {
            return MakeReport(state, "declined", "not installed, as answered", ExitCode::Failed);
        }
    }
    catch (const Interrupted& interrupted)
    {
        return ToInterrupted(interrupted);
    }
    return Installation(session, client, undertaking).Run();
}

} // namespace Zel::Host::Cli

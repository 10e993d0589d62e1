#include "Cli/Commands/Installation.h"

#include "Cli/Facts.h"
#include "Cli/NextStep.h"
#include "Zel/System/Core/Format.h"

#include <chrono>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// A device that was told to restart stops its services long before that.
constexpr std::chrono::minutes RestartLimit{3};

String Describe(const String& target, bool fallback)
{
    return target.empty() ? (fallback ? "the fallback version" : "the pending version") : "version " + target;
}

} // namespace

Installation::Installation(Session& session, BusClient& client, const String& target)
    : session(session), client(client),
      view(session.GetOutput().GetStream(), session.GetTerminal(), session.GetOutput().IsJson()),
      watch(client.GetState()), target(target), version(Describe(target, session.GetArguments().fallback))
{
    client.SetChangeHandler([this](const ComponentState& state) { OnChange(state); });
}

Installation::~Installation()
{
    client.SetChangeHandler({});
}

Report Installation::Run()
{
    try
    {
        Start();
        if (session.GetArguments().noWait)
        {
            return ToAccepted();
        }
        const bool ended = Follow();
        view.Finish();
        return ended ? ToEnd() : ToNotRestarted();
    }
    catch (const Interrupted& interrupted)
    {
        view.Finish();
        return ToInterrupted(interrupted);
    }
    catch (const BusError& error)
    {
        view.Finish();
        if (error.GetExitCode() == ExitCode::ServiceUnreachable)
        {
            return ToLost(error);
        }
        throw;
    }
}

void Installation::OnChange(const ComponentState& state)
{
    watch.Observe(state, accepted);
    if (!session.GetArguments().noWait)
    {
        view.Show(state);
    }
}

void Installation::Start()
{
    const Arguments& arguments = session.GetArguments();
    session.GetOutput().WriteLine(Format("Installing {0} ...", version));
    client.Install(target, arguments.fallback, arguments.delay);
    accepted = true;
    client.Refresh();
}

bool Installation::Follow()
{
    auto deadline = BusClient::Clock::time_point::max();
    while (watch.IsOpen())
    {
        const bool restarting = watch.GetPhase() == InstallationPhase::Restarting;
        if (restarting && deadline == BusClient::Clock::time_point::max())
        {
            deadline = BusClient::Clock::now() + RestartLimit;
        }
        if (!client.WaitForMessage(deadline))
        {
            return false;
        }
    }
    client.Refresh();
    return true;
}

Report Installation::ToReport(ExitCode exitCode, const String& outcome, const String& summary) const
{
    Report report;
    report.exitCode = exitCode;
    report.outcome = outcome;
    report.summary = summary;
    report.next = DescribeNextStep(client.GetState());
    report.component = client.GetState();
    return report;
}

Report Installation::ToAccepted() const
{
    const ComponentState& state = client.GetState();
    const String summary = state.IsWaiting()
                               ? Format("The installation of {0} is accepted and waits until {1}.", version,
                                        Facts::ToTime(state.nextStart))
                               : Format("The installation of {0} is accepted.", version);
    return ToReport(ExitCode::Done, "accepted", summary);
}

Report Installation::ToRestarting() const
{
    return ToReport(ExitCode::Done, "restarting", Format("The device restarts into {0}.", version));
}

Report Installation::ToEnd() const
{
    const String because = watch.GetReason().empty() ? "" : ": " + watch.GetReason();
    switch (watch.GetPhase())
    {
    case InstallationPhase::RestartByHand:
        return ToReport(ExitCode::Failed, "restart-by-hand",
                        Format("{0} is in place, but the device could not be restarted", version));
    case InstallationPhase::Failed:
        return ToReport(ExitCode::Failed, "failed",
                        Format("the installation of {0} failed{1}", version, because));
    case InstallationPhase::SwitchedBack:
        return ToReport(ExitCode::SwitchedBack, "switched-back",
                        Format("the device switched back{0}", because));
    case InstallationPhase::Succeeded:
        return ToReport(ExitCode::Done, "succeeded", Format("The installation of {0} succeeded.", version));
    default:
        return ToReport(ExitCode::Failed, "ended", Format("the installation of {0} was called off", version));
    }
}

Report Installation::ToNotRestarted() const
{
    Report report = ToReport(ExitCode::Failed, "not-restarted",
                             "the restart was ordered three minutes ago, but the device still runs");
    report.next = "Restart the device by hand; after that 'zelupdate status' tells the verdict.";
    return report;
}

Report Installation::ToInterrupted(const Interrupted& interrupted) const
{
    if (watch.GetPhase() == InstallationPhase::Restarting)
    {
        return ToRestarting();
    }
    Report report =
        ToReport(ExitCode::Failed, "interrupted", "interrupted; the installation goes on without zelupdate");
    report.signalNumber = interrupted.GetSignalNumber();
    return report;
}

Report Installation::ToLost(const BusError& error) const
{
    if (watch.GetPhase() == InstallationPhase::Restarting)
    {
        return ToRestarting();
    }
    Report report = ToReport(error.GetExitCode(), "lost",
                             Format("{0} while {1} was being installed", error.GetMessage(), version));
    report.next = "'zelupdate status' tells how the installation stands when the service is back.";
    report.errorName = error.GetShortName();
    return report;
}

} // namespace Zel::Host::Cli

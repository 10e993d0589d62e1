#include "Cli/Commands/InstallationReport.h"

#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"
#include "Cli/TimeText.h"
#include "Zel/System/Core/Format.h"

#include <utility>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

String Because(const String& reason)
{
    return reason.empty() ? "" : ": " + reason;
}

} // namespace

InstallationReport::InstallationReport(Undertaking undertaking, bool restartExitCode)
    : undertaking(std::move(undertaking)), restartExitCode(restartExitCode)
{
}

Report InstallationReport::ToEnd(const InstallationWatch& watch, const ComponentState& state) const
{
    const String& reason = watch.GetReason();
    switch (watch.GetStage())
    {
    case InstallationStage::RestartByHand:
        return Make(state, "restart-by-hand",
                    (undertaking.IsRevert() ? undertaking.Describe() + " is prepared"
                                            : undertaking.DescribeVersion() + " is installed") +
                        ", but the device does not restart" + Because(reason),
                    restartExitCode ? ExitCode::RestartNeeded : ExitCode::Failed, reason);
    case InstallationStage::Failed:
        return ToVerdict(Api::Result::Failed, reason, state);
    case InstallationStage::SwitchedBack:
        return ToVerdict(Api::Result::SwitchedBack, reason, state);
    case InstallationStage::Succeeded:
        return ToVerdict(Api::Result::Succeeded, "", state);
    default:
        return Make(state, "called-off",
                    Format("{0} was called off{1}", undertaking.Describe(), Because(reason)),
                    ExitCode::Failed, reason);
    }
}

Report InstallationReport::ToVerdict(const String& result, const String& reason,
                                     const ComponentState& state) const
{
    if (result == Api::Result::Succeeded)
    {
        return Make(state, "succeeded",
                    Format("The {0} succeeded.", undertaking.Describe().substr(String("the ").size())));
    }
    if (result == Api::Result::SwitchedBack)
    {
        return Make(state, "switched-back",
                    Format("the device switched back after {0}{1}", undertaking.Describe(), Because(reason)),
                    ExitCode::SwitchedBack, reason);
    }
    return Make(state, "failed", Format("{0} failed{1}", undertaking.Describe(), Because(reason)),
                ExitCode::Failed, reason);
}

Report InstallationReport::ToAccepted(const ComponentState& state) const
{
    return Make(state, "accepted",
                state.IsWaiting()
                    ? Format("The installation of {0} is accepted and waits until {1}.",
                             undertaking.DescribeVersion(), ToTimeText(state.nextStart))
                    : Format("The installation of {0} is accepted.", undertaking.DescribeVersion()));
}

Report InstallationReport::ToCancelled(const ComponentState& state) const
{
    return Make(state, "called-off",
                Format("The installation of {0} is called off.", undertaking.DescribeVersion()));
}

Report InstallationReport::ToRestarting(const ComponentState& state) const
{
    const String version = undertaking.DescribeVersion();
    Report report = Make(state, "restarting",
                         undertaking.IsRevert() ? Format("The device goes back to {0} and restarts.", version)
                                                : Format("The device restarts into {0}.", version),
                         restartExitCode ? ExitCode::RestartNeeded : ExitCode::Done);
    if (undertaking.IsRevert())
    {
        report.next = "After the restart 'zelupdate status' tells that the device switched back, "
                      "and 'zelupdate resume' makes it ready for the next installation.";
    }
    return report;
}

Report InstallationReport::ToNotRestarted(const ComponentState& state) const
{
    Report report =
        Make(state, "not-restarted", "the restart was ordered three minutes ago, but the device still runs",
             restartExitCode ? ExitCode::RestartNeeded : ExitCode::Failed);
    report.next = "Restart the device by hand; after that 'zelupdate status' tells the verdict.";
    return report;
}

Report InstallationReport::ToTimedOut(const ComponentState& state) const
{
    const String still = state.IsWaiting() ? "waits until " + ToTimeText(state.nextStart) : "goes on";
    Report report =
        Make(state, "error", Format("the time to wait is over, and {0} {1}", undertaking.Describe(), still),
             ExitCode::TimedOut);
    report.next = "'zelupdate wait' waits again.";
    return report;
}

Report InstallationReport::ToLost(const InstallationWatch& watch, const ComponentState& state,
                                  const BusError& error) const
{
    if (watch.GetStage() == InstallationStage::Restarting)
    {
        return ToRestarting(state);
    }
    Report report = Make(state, "lost", Format("{0} during {1}", error.GetMessage(), undertaking.Describe()),
                         error.GetExitCode());
    // Nobody waits for the bus.
    report.next =
        error.GetName() == BusError::Disconnected
            ? error.GetNext()
            : Format("'zelupdate wait' waits for the service to come back, and tells how the {0} stands.",
                     undertaking.GetName());
    report.errorName = error.GetShortName();
    return report;
}

Report InstallationReport::ToInterrupted(const InstallationWatch& watch, const ComponentState& state,
                                         const Interrupted& interrupted) const
{
    if (watch.GetStage() == InstallationStage::Restarting)
    {
        return ToRestarting(state);
    }
    const String name = undertaking.GetName();
    Report report = Make(state, "interrupted", Format("interrupted; the {0} goes on without zelupdate", name),
                         ExitCode::Failed);
    if (!watch.HasBegun())
    {
        report.summary = Format("interrupted before the service answered; the {0} may still begin", name);
        report.next = "'zelupdate status' shows whether it does.";
    }
    report.signalNumber = interrupted.GetSignalNumber();
    return report;
}

Report InstallationReport::Make(const ComponentState& state, const String& outcome, const String& summary,
                                ExitCode exitCode, const String& reason) const
{
    Report report = MakeReport(state, outcome, summary, exitCode);
    report.facts = {Facts::Text("", "/kind", undertaking.kind),
                    Facts::Text("", "/version", undertaking.version), Facts::Text("", "/reason", reason),
                    Facts::Text("", "/nextStart", ToTimeText(state.nextStart))};
    return report;
}

} // namespace Zel::Host::Cli

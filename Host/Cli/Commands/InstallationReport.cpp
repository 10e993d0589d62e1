#include "Cli/Commands/InstallationReport.h"

#include "Cli/Commands/ComponentReport.h"
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

InstallationReport::InstallationReport(String version, bool restartExitCode)
    : version(std::move(version)), restartExitCode(restartExitCode)
{
}

Report InstallationReport::ToEnd(const InstallationWatch& watch, const ComponentState& state) const
{
    switch (watch.GetStage())
    {
    case InstallationStage::RestartByHand:
        return MakeReport(state, "restart-by-hand",
                          Format("{0} is in place, but the device could not be restarted", version),
                          restartExitCode ? ExitCode::RestartNeeded : ExitCode::Failed);
    case InstallationStage::Failed:
        return ToVerdict(Api::Result::Failed, watch.GetReason(), state);
    case InstallationStage::SwitchedBack:
        return ToVerdict(Api::Result::SwitchedBack, watch.GetReason(), state);
    case InstallationStage::Succeeded:
        return ToVerdict(Api::Result::Succeeded, "", state);
    default:
        return MakeReport(
            state, "called-off",
            Format("the installation of {0} was called off{1}", version, Because(watch.GetReason())),
            ExitCode::Failed);
    }
}

Report InstallationReport::ToVerdict(const String& result, const String& reason,
                                     const ComponentState& state) const
{
    if (result == Api::Result::Succeeded)
    {
        return MakeReport(state, "succeeded", Format("The installation of {0} succeeded.", version));
    }
    if (result == Api::Result::SwitchedBack)
    {
        return MakeReport(state, "switched-back", Format("the device switched back{0}", Because(reason)),
                          ExitCode::SwitchedBack);
    }
    return MakeReport(state, "failed", Format("the installation of {0} failed{1}", version, Because(reason)),
                      ExitCode::Failed);
}

Report InstallationReport::ToRestarting(const ComponentState& state) const
{
    return MakeReport(state, "restarting", Format("The device restarts into {0}.", version),
                      restartExitCode ? ExitCode::RestartNeeded : ExitCode::Done);
}

Report InstallationReport::ToNotRestarted(const ComponentState& state) const
{
    Report report = MakeReport(state, "not-restarted",
                               "the restart was ordered three minutes ago, but the device still runs",
                               restartExitCode ? ExitCode::RestartNeeded : ExitCode::Failed);
    report.next = "Restart the device by hand; after that 'zelupdate status' tells the verdict.";
    return report;
}

Report InstallationReport::ToInterrupted(const InstallationWatch& watch, const ComponentState& state,
                                         const Interrupted& interrupted) const
{
    if (watch.GetStage() == InstallationStage::Restarting)
    {
        return ToRestarting(state);
    }
    Report report = MakeReport(state, "interrupted",
                               "interrupted; the installation goes on without zelupdate", ExitCode::Failed);
    if (!watch.HasBegun())
    {
        report.summary = "interrupted before the service answered; the installation may still begin";
        report.next = "'zelupdate status' shows whether it does.";
    }
    report.signalNumber = interrupted.GetSignalNumber();
    return report;
}

} // namespace Zel::Host::Cli

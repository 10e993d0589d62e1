#pragma once

#include "Cli/BusError.h"
#include "Cli/ComponentState.h"
#include "Cli/InstallationWatch.h"
#include "Cli/InterruptSignals.h"
#include "Cli/Report.h"
#include "Cli/Undertaking.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Says where an installation or a revert stands, or how it ended. Every report has the facts "kind",
/// "version", "reason" and "nextStart", which the words tell.
class InstallationReport
{
public:
    /// With `restartExitCode` an awaited restart has an exit code of its own.
    InstallationReport(Undertaking undertaking, bool restartExitCode);

    /// Returns how it ended.
    [[nodiscard]] Report ToEnd(const InstallationWatch& watch, const ComponentState& state) const;

    /// Returns that it is accepted.
    [[nodiscard]] Report ToAccepted(const ComponentState& state) const;

    /// Returns that the caller has called it off.
    [[nodiscard]] Report ToCancelled(const ComponentState& state) const;

    /// Returns that the restart is ordered.
    [[nodiscard]] Report ToRestarting(const ComponentState& state) const;

    /// Returns that the device still runs although its restart was ordered.
    [[nodiscard]] Report ToNotRestarted(const ComponentState& state) const;

    /// Returns that it goes on after the time to wait.
    [[nodiscard]] Report ToTimedOut(const ComponentState& state) const;

    /// Returns what the loss of the service means.
    [[nodiscard]] Report ToLost(const InstallationWatch& watch, const ComponentState& state,
                                const BusError& error) const;

    /// Returns what the end of this program means.
    [[nodiscard]] Report ToInterrupted(const InstallationWatch& watch, const ComponentState& state,
                                       const Interrupted& interrupted) const;

    /// Returns what a verdict, with its reason, tells.
    [[nodiscard]] Report ToVerdict(const String& result, const String& reason,
                                   const ComponentState& state) const;

private:
    [[nodiscard]] Report Make(const ComponentState& state, const String& outcome, const String& summary,
                              ExitCode exitCode = ExitCode::Done, const String& reason = {}) const;

    const Undertaking undertaking;
    const bool restartExitCode;
};

} // namespace Zel::Host::Cli

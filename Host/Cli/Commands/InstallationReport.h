#pragma once

#include "Cli/ComponentState.h"
#include "Cli/InstallationWatch.h"
#include "Cli/InterruptSignals.h"
#include "Cli/Report.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Says where an installation stands, or how it ended.
class InstallationReport
{
public:
    /// `version` names what is installed, for people. With `restartExitCode` an awaited restart has an exit
    /// code of its own.
    InstallationReport(String version, bool restartExitCode);

    /// Returns how it ended.
    [[nodiscard]] Report ToEnd(const InstallationWatch& watch, const ComponentState& state) const;

    /// Returns that the restart is ordered.
    [[nodiscard]] Report ToRestarting(const ComponentState& state) const;

    /// Returns that the device still runs although its restart was ordered.
    [[nodiscard]] Report ToNotRestarted(const ComponentState& state) const;

    /// Returns what the end of this program means.
    [[nodiscard]] Report ToInterrupted(const InstallationWatch& watch, const ComponentState& state,
                                       const Interrupted& interrupted) const;

    /// Returns what a verdict, with its reason, tells.
    [[nodiscard]] Report ToVerdict(const String& result, const String& reason,
                                   const ComponentState& state) const;

private:
    const String version;
    const bool restartExitCode;
};

} // namespace Zel::Host::Cli

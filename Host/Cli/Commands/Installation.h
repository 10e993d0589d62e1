#pragma once

#include "Cli/BusClient.h"
#include "Cli/BusError.h"
#include "Cli/Commands/InstallationReport.h"
#include "Cli/InstallationWatch.h"
#include "Cli/ProgressView.h"
#include "Cli/Report.h"
#include "Cli/Session.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// One installation as `install` runs it: asks for it, shows how it goes, and says how it ended. The
/// service's disappearance after it has ordered the restart is the good end.
class Installation
{
public:
    /// `session` and `client`, with its component selected, must live longer. `target` is the version to be
    /// installed; empty for whatever is pending, or is the fallback version, by then.
    Installation(Session& session, BusClient& client, const String& target);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    /// Returns how it ended. Throws `BusError` when the service refuses.
    [[nodiscard]] Report Run();

    /// Returns what is installed, for people.
    [[nodiscard]] static String Describe(const String& target, bool fallback);

private:
    void OnChange(const ComponentState& state);
    void Start();
    /// Waits for the end; returns false when the device does not restart although it was told to.
    [[nodiscard]] bool Follow();
    [[nodiscard]] Report ToAccepted() const;
    /// Returns what the loss of the service means.
    [[nodiscard]] Report ToLost(const BusError& error) const;

    Session& session;
    BusClient& client;
    const String target;
    /// The version that is installed, for people.
    const String version;
    const InstallationReport reports;
    InstallationWatch watch;
    ProgressView view;
    bool accepted = false;
};

} // namespace Zel::Host::Cli

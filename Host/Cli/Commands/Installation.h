#pragma once

#include "Cli/BusClient.h"
#include "Cli/Commands/InstallationReport.h"
#include "Cli/InstallationWatch.h"
#include "Cli/ProgressView.h"
#include "Cli/Report.h"
#include "Cli/Session.h"
#include "Cli/Undertaking.h"

namespace Zel::Host::Cli
{

/// One installation or revert: asks for it, shows how it goes, and says how it ended. The service's
/// disappearance after it has ordered the restart is the good end.
class Installation
{
public:
    /// `session` and `client`, with its component selected, must live longer. Without a version it is for
    /// whatever is pending, or is the fallback version, by then.
    Installation(Session& session, BusClient& client, const Undertaking& undertaking);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    /// Returns how it ended. Throws `BusError` when the service refuses.
    [[nodiscard]] Report Run();

private:
    void OnChange(const ComponentState& state);
    void Start();
    void Order();
    /// Whether what was accepted turned out to be nothing.
    [[nodiscard]] bool IsVoid() const;
    /// Waits for the end; returns false when the device does not restart although it was told to.
    [[nodiscard]] bool Follow();
    [[nodiscard]] InstallationReport GetReports() const;

    Session& session;
    BusClient& client;
    Undertaking undertaking;
    const LastVerdict earlierVerdict;
    InstallationWatch watch;
    ProgressView view;
    bool accepted = false;
};

} // namespace Zel::Host::Cli

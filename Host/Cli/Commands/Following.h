#pragma once

#include "Cli/BusClient.h"
#include "Cli/InstallationWatch.h"
#include "Cli/ProgressView.h"
#include "Cli/Session.h"

#include "Zel/String.h"

#include <vector>

namespace Zel::Host::Cli
{

/// Returns the last installations and reverts, the newest first; empty where the service has no history to
/// give. Throws `BusError` when it cannot be reached.
[[nodiscard]] std::vector<PastInstallation> ReadPast(BusClient& client);

/// Returns a view for an installation of that kind, or for the one that runs where `kind` is empty. It knows
/// no remaining time where the service has no history to give.
[[nodiscard]] ProgressView MakeView(Session& session, BusClient& client, const String& kind);

/// Waits for a message of the service until `deadline`, and keeps the view's time going meanwhile. Returns
/// false when `deadline` passed before.
[[nodiscard]] bool WaitAndShow(BusClient& client, ProgressView& view, BusClient::Clock::time_point deadline);

/// After the end of an installation: gives the service a few seconds to get ready for what comes next, and
/// reads the component anew. Ends early and says nothing when the service goes or a signal arrives.
void AwaitReadiness(BusClient& client, BusClient::Clock::time_point limit = ClientConnection::Forever);

/// The time within which an ordered restart has to come: a device that was told to restart stops its services
/// long before its end.
class RestartLimit
{
public:
    static constexpr std::chrono::minutes Length{3};

    /// Returns the end of the time, which begins with the first call in the stage of the ordered restart;
    /// none in other stages.
    [[nodiscard]] BusClient::Clock::time_point GetDeadline(InstallationStage stage);

private:
    BusClient::Clock::time_point deadline = ClientConnection::Forever;
};

} // namespace Zel::Host::Cli

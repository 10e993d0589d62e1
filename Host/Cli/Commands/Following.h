#pragma once

#include "Cli/BusClient.h"
#include "Cli/ProgressView.h"
#include "Cli/Session.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Returns a view for an installation of that kind, or for the one that runs where `kind` is empty. It knows
/// no remaining time where the service has no history to give.
[[nodiscard]] ProgressView MakeView(Session& session, BusClient& client, const String& kind);

/// Waits for a message of the service until `deadline`, and keeps the view's time going meanwhile. Returns
/// false when `deadline` passed before.
[[nodiscard]] bool WaitAndShow(BusClient& client, ProgressView& view, BusClient::Clock::time_point deadline);

} // namespace Zel::Host::Cli

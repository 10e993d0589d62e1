#pragma once

#include "Service/StatusStore.h"

#include "Zel/String.h"

#include <cstdint>
#include <vector>

namespace Zel::Host::Service
{

/// What a component is about, more precisely than its state says it; the names are the bus API's.
struct Activity
{
    inline static const String None = "none";
    /// The updater is not ready yet; requests are refused.
    inline static const String Starting = "starting";
    /// An installation is accepted and waits for its time.
    inline static const String Waiting = "waiting";
    inline static const String Installing = "installing";
    inline static const String Reverting = "reverting";
    /// The restart of the device is ordered.
    inline static const String Restarting = "restarting";
    /// The restart could not be ordered: somebody has to do it by hand.
    inline static const String RestartNeeded = "restart-needed";
    /// RAUC has to say how an installation or revert ended that an earlier start of the service began.
    inline static const String Deciding = "deciding";
};

/// What is shown of a component; texts are valid UTF-8 without control characters.
struct ComponentSnapshot
{
    /// One of `Activity`.
    String activity = Activity::Starting;
    Services::SoftwareUpdate::InstallationState state = Services::SoftwareUpdate::InstallationState::Idle;
    String message;
    /// Percent, and what was being done.
    int progress = 0;
    String progressText;
    bool revertible = false;
    /// Version texts, empty where there is none.
    String currentVersion;
    String pendingVersion;
    String fallbackVersion;
    /// When one of them was read last, in microseconds since 1970 in UTC; 0 before each was read once.
    std::int64_t versionsTime = 0;
    /// The last verdict; without one the time is 0.
    Verdict lastVerdict;
    /// When a delayed installation starts, in microseconds since 1970 in UTC; 0 when none waits.
    std::int64_t nextStart = 0;

    /// Returns the names, as the bus API has them, of the properties that differ.
    [[nodiscard]] std::vector<String> GetChanges(const ComponentSnapshot& earlier) const;
};

} // namespace Zel::Host::Service

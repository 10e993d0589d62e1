#pragma once

#include "Api/SoftwareUpdate1.h"
#include "Service/HistoryEntry.h"

#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/String.h"

#include <cstdint>
#include <vector>

namespace Zel::Host::Service
{

using Api::Activity;

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

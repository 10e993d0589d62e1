#pragma once

#include "Api/SoftwareUpdate1.h"

#include "Zel/String.h"

#include <cstdint>

namespace Zel::Host::Cli
{

/// The last recorded end of an installation or revert.
struct LastVerdict
{
    /// One of `Api::Result`; empty where there is none.
    String result;
    String version;
    /// Why it did not succeed.
    String reason;
    /// Microseconds since 1970 in UTC.
    std::uint64_t time = 0;

    friend bool operator==(const LastVerdict&, const LastVerdict&) = default;
};

using Api::Activity;

/// What the service tells of one component: its D-Bus properties. All texts are as received.
struct ComponentState
{
    String id;
    /// One of `Api::State`.
    String state;
    /// One of `Activity`; empty where an older service does not tell it.
    String activity;
    String message;
    std::int32_t progressPercent = 0;
    String progressText;
    bool revertible = false;
    /// "" where there is none, or where it was not read yet.
    String currentVersion;
    String pendingVersion;
    String fallbackVersion;
    /// When the three were read last, in microseconds since 1970 in UTC; 0 for not yet.
    std::uint64_t versionsTime = 0;
    String bootId;
    LastVerdict lastVerdict;
    /// When a delayed installation starts, in microseconds since 1970 in UTC; 0 when none waits.
    std::uint64_t nextStart = 0;

    /// Whether an installation is accepted and waits for its time.
    [[nodiscard]] bool IsWaiting() const;

    /// Whether the updater is through, and nothing but the device's restart is missing.
    [[nodiscard]] bool IsThrough() const;

    /// Whether the service has read the versions: one that is empty then is one that there is not.
    [[nodiscard]] bool KnowsVersions() const noexcept { return versionsTime != 0; }

    /// Percent, 0 to 100. While an installation runs at most 99; 100 as soon as the updater is through: RAUC
    /// also reports 100 for an installation that fails.
    [[nodiscard]] int GetShownPercent() const;

    /// What is being done: the message, or the progress's own text when there is none.
    [[nodiscard]] const String& GetShownMessage() const;
};

} // namespace Zel::Host::Cli

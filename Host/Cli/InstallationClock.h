#pragma once

#include "Cli/ServiceAnswers.h"

#include "Zel/String.h"

#include <chrono>
#include <optional>
#include <vector>

namespace Zel::Host::Cli
{

/// How long an installation has been running, and how long it may still take by those of the past.
class InstallationClock
{
public:
    using Clock = std::chrono::steady_clock;

    /// `history` are the last installations, the newest first; those of the same `kind` that came to the
    /// restart count, the last five of them by their median.
    InstallationClock(const std::vector<PastInstallation>& history, const String& kind);

    /// An installation without a history.
    InstallationClock() = default;

    /// Starts to count, `before` after the installation's begin; does nothing when it counts already.
    void Start(std::chrono::seconds before = std::chrono::seconds(0));

    /// Returns for example "0:23, ~1:10 left", the latter only with `remaining`, and where the past
    /// tells it and it is positive; empty before the start.
    [[nodiscard]] String Describe(bool remaining) const;

    /// What such an installation takes up to the ordered restart.
    [[nodiscard]] const std::optional<std::chrono::seconds>& GetTypical() const noexcept { return typical; }

private:
    std::optional<std::chrono::seconds> typical;
    std::optional<Clock::time_point> begin;
};

} // namespace Zel::Host::Cli

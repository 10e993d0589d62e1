#pragma once

#include "Zel/String.h"

#include <chrono>
#include <cstdint>

namespace Zel::Host::Cli
{

/// Returns a time in UTC as ISO 8601 in whole seconds; empty for 0 and for times after the year 9999.
/// `microseconds` count from 1970.
[[nodiscard]] String ToTimeText(std::uint64_t microseconds);

/// Returns a span as "M:SS", or "H:MM:SS" from an hour on.
[[nodiscard]] String ToSpanText(std::chrono::seconds span);

/// Returns the system clock's time as microseconds since 1970 in UTC.
[[nodiscard]] std::uint64_t GetTimeNow();

} // namespace Zel::Host::Cli

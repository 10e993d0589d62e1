#pragma once

#include "Zel/DateTime.h"
#include "Zel/String.h"

#include <cstdint>

namespace Zel::Host::Service
{

constexpr std::int64_t MicrosecondsPerMillisecond = 1000;

/// Returns the system clock's reading in microseconds since 1970 in UTC.
[[nodiscard]] std::int64_t GetUnixTime();

/// Moments of kind `Utc`, to and from microseconds since 1970.
[[nodiscard]] std::int64_t ToUnixTime(const DateTime& moment);
[[nodiscard]] DateTime FromUnixTime(std::int64_t microseconds);

/// Says a moment to the second, for people: "2026-11-21T17:05:30Z".
[[nodiscard]] String ToText(std::int64_t microseconds);

} // namespace Zel::Host::Service

#pragma once

#include "Zel/DateTime.h"

#include <cstdint>

namespace Zel::Host::Service
{

constexpr std::int64_t MicrosecondsPerMillisecond = 1000;

/// Returns the system clock's reading in microseconds since 1970 in UTC.
[[nodiscard]] std::int64_t GetUnixTime();

/// Moments of kind `Utc`, to and from microseconds since 1970.
[[nodiscard]] std::int64_t ToUnixTime(const DateTime& moment);
[[nodiscard]] DateTime FromUnixTime(std::int64_t microseconds);

} // namespace Zel::Host::Service

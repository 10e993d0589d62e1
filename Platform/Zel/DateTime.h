#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel
{

/// What the clock reading of a `DateTime` refers to.
enum class DateTimeKind : std::int32_t
{
    Unspecified = 0,
    Utc = 1,
    Local = 2
};

/// A moment as a signed count of 100-nanosecond ticks since 0001-01-01T00:00:00 (proleptic Gregorian
/// calendar). A plain value; the default is zero ticks of unspecified kind.
class ZEL_API DateTime
{
public:
    static constexpr std::int64_t TicksPerMillisecond = 10'000;
    static constexpr std::int64_t TicksPerSecond = 10'000'000;
    /// Ticks at 1970-01-01T00:00:00.
    static constexpr std::int64_t UnixEpochTicks = 621'355'968'000'000'000;

    constexpr DateTime() noexcept = default;

    constexpr DateTime(std::int64_t ticks, DateTimeKind kind) noexcept : ticks(ticks), kind(kind) {}

    /// Returns the system clock's reading, of kind `Utc`.
    [[nodiscard]] static DateTime GetUtcNow();

    /// Returns the moment that many `seconds` and `nanoseconds` (0 to 999,999,999) after 1970-01-01T00:00:00
    /// UTC, of kind `Utc`. Fractions of a tick are cut off; seconds outside the years 1 to 9999 become the
    /// nearest of them.
    [[nodiscard]] static DateTime FromUnixTime(std::int64_t seconds, std::int64_t nanoseconds);

    /// Parses YYYY-MM-DDTHH:MM:SS with an optional fraction of 1 to 9 digits (cut to ticks) and an optional
    /// offset. Without an offset the result is of kind `Unspecified`; "Z" and "+HH:MM" or "-HH:MM", at most
    /// 14 hours, give kind `Utc`, converted to UTC. Throws `Exception` "'{text}' is not a date and time in
    /// ISO 8601 form" for everything else: another shape, a day, hour or minute that does not exist, a leap
    /// second, text before or after, a result outside the years 1 to 9999.
    [[nodiscard]] static DateTime FromIso8601String(const String& text);

    /// Returns YYYY-MM-DDTHH:MM:SS, with ".fffffff" when the ticks are not whole seconds and "Z" for kind
    /// `Utc`.
    [[nodiscard]] String ToIso8601String() const;

    [[nodiscard]] constexpr std::int64_t GetTicks() const noexcept { return ticks; }

    [[nodiscard]] constexpr DateTimeKind GetKind() const noexcept { return kind; }

    friend constexpr bool operator==(const DateTime&, const DateTime&) noexcept = default;

private:
    std::int64_t ticks = 0;
    DateTimeKind kind = DateTimeKind::Unspecified;
};

} // namespace Zel

#include "Zel/DateTime.h"

#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>

namespace Zel
{

namespace
{

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, DateTime::TicksPerSecond>>;
using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using std::chrono::sys_days;

/// One behind the last tick of year 9999.
constexpr std::int64_t EndTicks = 3'155'378'976'000'000'000;

/// Takes an ISO 8601 text apart from its front; every step returns whether it met what it expects.
class Iso8601Parser
{
public:
    explicit Iso8601Parser(std::string_view text) noexcept : rest(text) {}

    /// The result of the whole text, nothing for a text of another shape or range.
    [[nodiscard]] std::optional<DateTime> Parse()
    {
        Ticks time{0};
        std::optional<minutes> offset;
        if (!ReadDate(time) || !ReadCharacter('T') || !ReadTimeOfDay(time) || !ReadFraction(time) ||
            !ReadOffset(offset) || !rest.empty())
        {
            return std::nullopt;
        }
        const Ticks utc = time - offset.value_or(minutes{0});
        if (utc.count() < 0 || utc.count() >= EndTicks)
        {
            return std::nullopt;
        }
        return DateTime(utc.count(), offset ? DateTimeKind::Utc : DateTimeKind::Unspecified);
    }

private:
    static constexpr minutes MaximumOffset = hours{14};
    static constexpr std::size_t TickDigits = 7;
    static constexpr std::size_t MaximumFractionDigits = 9;

    [[nodiscard]] bool ReadCharacter(char expected) noexcept
    {
        if (rest.empty() || rest.front() != expected)
        {
            return false;
        }
        rest.remove_prefix(1);
        return true;
    }

    /// Reads exactly `digits` decimal digits; a sign or a blank is none.
    [[nodiscard]] bool ReadNumber(std::size_t digits, int minimum, int maximum, int& number) noexcept
    {
        const std::string_view text = rest.substr(0, digits);
        if (text.size() != digits || !std::all_of(text.begin(), text.end(), IsDigit))
        {
            return false;
        }
        number = 0;
        for (const char digit : text)
        {
            number = number * 10 + (digit - '0');
        }
        rest.remove_prefix(digits);
        return number >= minimum && number <= maximum;
    }

    [[nodiscard]] bool ReadDate(Ticks& time) noexcept
    {
        int year = 0;
        int month = 0;
        int day = 0;
        if (!ReadNumber(4, 1, 9999, year) || !ReadCharacter('-') || !ReadNumber(2, 1, 12, month) ||
            !ReadCharacter('-') || !ReadNumber(2, 1, 31, day))
        {
            return false;
        }
        const std::chrono::year_month_day date{std::chrono::year{year},
                                               std::chrono::month{static_cast<unsigned int>(month)},
                                               std::chrono::day{static_cast<unsigned int>(day)}};
        time = Ticks{DateTime::UnixEpochTicks} + sys_days{date}.time_since_epoch();
        return date.ok();
    }

    [[nodiscard]] bool ReadTimeOfDay(Ticks& time) noexcept
    {
        int hour = 0;
        int minute = 0;
        int second = 0;
        if (!ReadNumber(2, 0, 23, hour) || !ReadCharacter(':') || !ReadNumber(2, 0, 59, minute) ||
            !ReadCharacter(':') || !ReadNumber(2, 0, 59, second))
        {
            return false;
        }
        time += hours{hour} + minutes{minute} + seconds{second};
        return true;
    }

    [[nodiscard]] bool ReadFraction(Ticks& time) noexcept
    {
        if (!ReadCharacter('.'))
        {
            return true;
        }
        const auto digits =
            static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), IsDigit) - rest.begin());
        if (digits == 0 || digits > MaximumFractionDigits)
        {
            return false;
        }
        std::int64_t ticks = 0;
        for (std::size_t position = 0; position < TickDigits; ++position)
        {
            ticks = ticks * 10 + (position < digits ? rest[position] - '0' : 0);
        }
        time += Ticks{ticks};
        rest.remove_prefix(digits);
        return true;
    }

    [[nodiscard]] bool ReadOffset(std::optional<minutes>& offset) noexcept
    {
        if (rest.empty())
        {
            return true;
        }
        if (ReadCharacter('Z'))
        {
            offset = minutes{0};
            return true;
        }
        const bool negative = ReadCharacter('-');
        int hour = 0;
        int minute = 0;
        if ((!negative && !ReadCharacter('+')) || !ReadNumber(2, 0, 14, hour) || !ReadCharacter(':') ||
            !ReadNumber(2, 0, 59, minute))
        {
            return false;
        }
        const minutes distance = hours{hour} + minutes{minute};
        offset = negative ? -distance : distance;
        return distance <= MaximumOffset;
    }

    static bool IsDigit(char character) noexcept { return character >= '0' && character <= '9'; }

    std::string_view rest;
};

} // namespace

DateTime DateTime::GetUtcNow()
{
    const auto now = std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now());
    return {UnixEpochTicks + now.time_since_epoch().count(), DateTimeKind::Utc};
}

DateTime DateTime::FromUnixTime(std::int64_t seconds, std::int64_t nanoseconds)
{
    constexpr std::int64_t FirstSecond = -UnixEpochTicks / TicksPerSecond;
    constexpr std::int64_t LastSecond = (EndTicks - UnixEpochTicks) / TicksPerSecond - 1;
    constexpr std::int64_t NanosecondsPerTick = 100;
    const std::int64_t inRange = std::clamp(seconds, FirstSecond, LastSecond);
    return {UnixEpochTicks + inRange * TicksPerSecond + nanoseconds / NanosecondsPerTick, DateTimeKind::Utc};
}

DateTime DateTime::FromIso8601String(const String& text)
{
    if (const auto parsed = Iso8601Parser(text).Parse())
    {
        return *parsed;
    }
    throw Exception("'" + text + "' is not a date and time in ISO 8601 form");
}

String DateTime::ToIso8601String() const
{
    const Ticks sinceEpoch{ticks - UnixEpochTicks};
    const auto day = std::chrono::floor<days>(sinceEpoch);
    const std::chrono::year_month_day date{sys_days{day}};
    const std::chrono::hh_mm_ss time{sinceEpoch - day};
    String text =
        System::Core::Format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", static_cast<int>(date.year()),
                             static_cast<unsigned int>(date.month()), static_cast<unsigned int>(date.day()),
                             time.hours().count(), time.minutes().count(), time.seconds().count());
    if (time.subseconds().count() != 0)
    {
        text += System::Core::Format(".{:07}", time.subseconds().count());
    }
    return kind == DateTimeKind::Utc ? text + "Z" : text;
}

} // namespace Zel

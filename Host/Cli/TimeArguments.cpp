#include "Cli/TimeArguments.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/CommandError.h"
#include "Zel/DateTime.h"
#include "Zel/System/Core/Format.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// Whole seconds, which do not overflow for any date that can be written; the clock's own time does.
using Seconds = std::chrono::time_point<std::chrono::system_clock, std::chrono::seconds>;

struct Unit
{
    std::string_view name;
    std::uint64_t milliseconds;
};

constexpr std::array Units = {Unit{"", 1000}, Unit{"s", 1000}, Unit{"min", 60'000}, Unit{"h", 3'600'000}};

/// Returns the milliseconds of the unit; 0 for an unknown one.
std::uint64_t FindUnit(std::string_view name)
{
    for (const Unit& unit : Units)
    {
        if (unit.name == name)
        {
            return unit.milliseconds;
        }
    }
    return 0;
}

/// Returns the moment of a local date and time, whose day may exceed the month; nothing where the clock skips
/// it. `dst` is as `tm_isdst` and chooses where the clock shows it twice.
std::optional<Seconds> ToMoment(std::tm local, int dst)
{
    const int minutes = local.tm_hour * 60 + local.tm_min;
    local.tm_isdst = dst;
    const std::time_t moment = std::mktime(&local);
    const bool isShown = local.tm_hour * 60 + local.tm_min == minutes;
    return isShown ? std::optional(Seconds(std::chrono::seconds(moment))) : std::nullopt;
}

bool IsClockTime(const String& text)
{
    const auto isDigit = [&text](std::size_t index) { return text[index] >= '0' && text[index] <= '9'; };
    return text.size() == 5 && text[2] == ':' && isDigit(0) && isDigit(1) && isDigit(3) && isDigit(4) &&
           text.substr(0, 2) < "24" && text[3] < '6';
}

/// Returns the next moment at which the clock shows a time.
std::optional<Seconds> GetNext(const String& clockTime, std::chrono::system_clock::time_point now)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    local.tm_hour = std::stoi(clockTime.substr(0, 2));
    local.tm_min = std::stoi(clockTime.substr(3));
    local.tm_sec = 0;
    std::optional<Seconds> next;
    // The clock may skip the time today, but not on two days.
    for (int day = 0; day < 3 && !next; ++day)
    {
        for (const int dst : {1, 0})
        {
            const auto moment = ToMoment(local, dst);
            next = moment && *moment > now && (!next || *moment < *next) ? moment : next;
        }
        ++local.tm_mday;
    }
    return next;
}

std::optional<Seconds> ParseDate(const String& text)
{
    const DateTime parsed = DateTime::FromIso8601String(text);
    const std::time_t seconds = (parsed.GetTicks() - DateTime::UnixEpochTicks) / DateTime::TicksPerSecond;
    if (parsed.GetKind() == DateTimeKind::Utc)
    {
        return Seconds(std::chrono::seconds(seconds));
    }
    std::tm local{};
    gmtime_r(&seconds, &local);
    return ToMoment(local, -1);
}

} // namespace

std::chrono::milliseconds ParseSpan(const String& text, const char* what)
{
    std::uint64_t count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    const std::uint64_t unit = FindUnit(std::string_view(stop, static_cast<std::size_t>(end - stop)));
    if (error == std::errc::invalid_argument || unit == 0)
    {
        throw CommandError(
            ExitCode::Usage,
            Format("'{0}' is no {1}: write a whole number and s, min or h, for example 90s", text, what));
    }
    if (error == std::errc::result_out_of_range || count > (Api::DelayLimit - 1) / unit)
    {
        throw CommandError(
            ExitCode::Usage,
            Format("the {1} '{0}' is too long: it must stay below 2^32 ms (49 days 17 hours)", text, what));
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(count * unit));
}

std::chrono::system_clock::time_point ParseStart(const String& text,
                                                 std::chrono::system_clock::time_point now)
{
    std::optional<Seconds> start;
    try
    {
        start = IsClockTime(text) ? GetNext(text, now) : ParseDate(text);
    }
    catch (const Exception&)
    {
        throw CommandError(
            ExitCode::Usage,
            Format("'{0}' is no time: write HH:MM or a date and time, for example 2026-12-24T03:00:00",
                   text));
    }
    if (!start)
    {
        throw CommandError(ExitCode::Usage, Format("the clock skips the time '{0}'", text));
    }
    const auto thisSecond = std::chrono::floor<std::chrono::seconds>(now);
    if (*start < thisSecond || (*start == thisSecond && thisSecond < now))
    {
        throw CommandError(ExitCode::Usage, Format("the time '{0}' has passed", text));
    }
    // The first comparison keeps the second one from an overflow.
    const std::chrono::milliseconds limit(Api::DelayLimit);
    if (*start - thisSecond > limit || *start - now >= limit)
    {
        throw CommandError(
            ExitCode::Usage,
            Format("the time '{0}' is too far away: it must be within 2^32 ms (49 days 17 hours)", text));
    }
    return *start;
}

} // namespace Zel::Host::Cli

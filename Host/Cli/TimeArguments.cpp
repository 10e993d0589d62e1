#include "Cli/TimeArguments.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/CommandError.h"
#include "Zel/DateTime.h"
#include "Zel/System/Core/Format.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <system_error>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

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

/// Returns the moment of a local date and time, whose fields may exceed their ranges.
std::chrono::system_clock::time_point ToMoment(std::tm local)
{
    local.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

bool IsClockTime(const String& text)
{
    const auto isDigit = [&text](std::size_t index) { return text[index] >= '0' && text[index] <= '9'; };
    return text.size() == 5 && text[2] == ':' && isDigit(0) && isDigit(1) && isDigit(3) && isDigit(4) &&
           text.substr(0, 2) < "24" && text[3] < '6';
}

std::chrono::system_clock::time_point GetNext(const String& clockTime,
                                              std::chrono::system_clock::time_point now)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    local.tm_hour = std::stoi(clockTime.substr(0, 2));
    local.tm_min = std::stoi(clockTime.substr(3));
    local.tm_sec = 0;
    if (ToMoment(local) <= now)
    {
        ++local.tm_mday;
    }
    return ToMoment(local);
}

std::chrono::system_clock::time_point ParseDate(const String& text)
{
    const DateTime parsed = DateTime::FromIso8601String(text);
    const std::time_t seconds = (parsed.GetTicks() - DateTime::UnixEpochTicks) / DateTime::TicksPerSecond;
    if (parsed.GetKind() == DateTimeKind::Utc)
    {
        return std::chrono::system_clock::from_time_t(seconds);
    }
    std::tm local{};
    gmtime_r(&seconds, &local);
    return ToMoment(local);
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
    std::chrono::system_clock::time_point start;
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
    if (start < now)
    {
        throw CommandError(ExitCode::Usage, Format("the time '{0}' has passed", text));
    }
    if (start - now >= std::chrono::milliseconds(Api::DelayLimit))
    {
        throw CommandError(
            ExitCode::Usage,
            Format("the time '{0}' is too far away: it must be within 2^32 ms (49 days 17 hours)", text));
    }
    return start;
}

} // namespace Zel::Host::Cli

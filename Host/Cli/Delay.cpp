#include "Cli/Delay.h"

#include "Cli/CommandError.h"
#include "Zel/System/Core/Format.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

constexpr std::uint64_t DelayLimit = std::uint64_t{1} << 32; // ms

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

} // namespace

std::chrono::milliseconds ParseDelay(const String& text)
{
    std::uint64_t count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    const std::uint64_t unit = FindUnit(std::string_view(stop, static_cast<std::size_t>(end - stop)));
    if (error == std::errc::invalid_argument || unit == 0)
    {
        throw CommandError(
            ExitCode::Usage,
            Format("'{0}' is no delay: write a whole number and s, min or h, for example 90s", text));
    }
    if (error == std::errc::result_out_of_range || count > (DelayLimit - 1) / unit)
    {
        throw CommandError(
            ExitCode::Usage,
            Format("the delay '{0}' is too long: it must stay below 2^32 ms (49 days 17 hours)", text));
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(count * unit));
}

} // namespace Zel::Host::Cli

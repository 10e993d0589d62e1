#include "Cli/TimeText.h"

#include "Zel/DateTime.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Core::Format;

String ToTimeText(std::uint64_t microseconds)
{
    constexpr std::uint64_t MicrosecondsPerSecond = 1'000'000;
    constexpr std::uint64_t LastSecond = 253'402'300'799; // end of the year 9999
    const std::uint64_t seconds = microseconds / MicrosecondsPerSecond;
    if (microseconds == 0 || seconds > LastSecond)
    {
        return {};
    }
    return DateTime::FromUnixTime(static_cast<std::int64_t>(seconds), 0).ToIso8601String();
}

String ToSpanText(std::chrono::seconds span)
{
    const auto seconds = span.count();
    const String minutes = Format("{0}:{1:02d}", seconds / 60, seconds % 60);
    return seconds < 3600 ? minutes
                          : Format("{0}:{1:02d}:{2:02d}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::uint64_t GetTimeNow()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

} // namespace Zel::Host::Cli

#include "Service/Clock.h"

namespace Zel::Host::Service
{

namespace
{

constexpr std::int64_t TicksPerMicrosecond = 10;

} // namespace

std::int64_t GetUnixTime()
{
    return ToUnixTime(DateTime::GetUtcNow());
}

std::int64_t ToUnixTime(const DateTime& moment)
{
    return (moment.GetTicks() - DateTime::UnixEpochTicks) / TicksPerMicrosecond;
}

DateTime FromUnixTime(std::int64_t microseconds)
{
    return {microseconds * TicksPerMicrosecond + DateTime::UnixEpochTicks, DateTimeKind::Utc};
}

String ToText(std::int64_t microseconds)
{
    return FromUnixTime(microseconds - microseconds % (MicrosecondsPerMillisecond * 1000)).ToIso8601String();
}

} // namespace Zel::Host::Service

#include "Service/Watchdog.h"

#include <systemd/sd-daemon.h>

#include <cstdint>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;

Watchdog::Watchdog(EventLoop& loop, std::function<std::chrono::milliseconds()> workTime)
    : workTime(std::move(workTime)), timer(loop, [this] { Feed(); })
{
    std::uint64_t allowed = 0; // microseconds
    if (sd_watchdog_enabled(0, &allowed) > 0)
    {
        period = std::chrono::microseconds(allowed / 2);
        Feed();
    }
}

void Watchdog::Feed()
{
    if (const auto time = workTime(); time < StuckTime)
    {
        static_cast<void>(sd_notify(0, "WATCHDOG=1"));
    }
    else
    {
        Log(LogLevel::Error, "A module's call has made no progress for {0} s; the watchdog is not fed.",
            std::chrono::duration_cast<std::chrono::seconds>(time).count());
    }
    timer.Arm(period);
}

} // namespace Zel::Host::Service

#pragma once

#include "Service/LoopTimer.h"

#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <chrono>
#include <functional>

namespace Zel::Host::Service
{

/// Tells the service manager, where it wants to know, that the main loop turns and no worker is stuck. Used
/// on the loop's thread.
class Watchdog : private System::Commons::Diagnostics::Logging::Loggable<Watchdog>
{
public:
    /// After what time without progress a worker counts as stuck.
    static constexpr std::chrono::seconds StuckTime{120};

    /// `workTime` says how long a worker's task has been without progress.
    Watchdog(EventLoop& loop, std::function<std::chrono::milliseconds()> workTime);

private:
    void Feed();

    const std::function<std::chrono::milliseconds()> workTime;
    /// Half of what the service manager allows; 0 where it does not watch.
    std::chrono::microseconds period{0};
    LoopTimer timer;
};

} // namespace Zel::Host::Service

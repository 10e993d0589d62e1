#include "Service/LoopTimer.h"

#include "Service/SystemCall.h"

#include <systemd/sd-event.h>

#include <algorithm>
#include <ctime>

namespace Zel::Host::Service
{

namespace
{

int OnTime(sd_event_source* /*source*/, std::uint64_t /*time*/, void* task)
{
    EventLoop::Guard(*static_cast<EventLoop::Task*>(task));
    return 0;
}

} // namespace

LoopTimer::LoopTimer(EventLoop& loop, EventLoop::Task task) : task(std::move(task))
{
    constexpr std::uint64_t Accuracy = 1000; // microseconds
    // The steady clock's: deadlines, modules and the service manager's watchdog count with it, and none of
    // them counts the time for which the device is suspended.
    CheckSystemCall(
        sd_event_add_time_relative(loop.Get(), &source, CLOCK_MONOTONIC, 0, Accuracy, OnTime, &this->task),
        "create a timer");
    Disarm();
}

LoopTimer::~LoopTimer()
{
    sd_event_source_disable_unref(source);
}

void LoopTimer::Arm(std::chrono::microseconds delay)
{
    // Not relative to the loop's own time, which is that of its last turn: it would end too early.
    const auto end = std::chrono::steady_clock::now() + std::max(delay, std::chrono::microseconds(0));
    const auto time = std::chrono::ceil<std::chrono::microseconds>(end.time_since_epoch());
    CheckSystemCall(sd_event_source_set_time(source, static_cast<std::uint64_t>(time.count())),
                    "set a timer");
    CheckSystemCall(sd_event_source_set_enabled(source, SD_EVENT_ONESHOT), "start a timer");
}

void LoopTimer::Disarm()
{
    CheckSystemCall(sd_event_source_set_enabled(source, SD_EVENT_OFF), "stop a timer");
}

bool LoopTimer::IsArmed() const
{
    return sd_event_source_get_enabled(source, nullptr) > 0;
}

} // namespace Zel::Host::Service

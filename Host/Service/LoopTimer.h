#pragma once

#include "Service/EventLoop.h"

#include <chrono>

namespace Zel::Host::Service
{

/// Calls a task once, on the loop's thread, some time of the steady clock after it was armed. Used on that
/// thread only; the loop outlives it.
class LoopTimer
{
public:
    LoopTimer(EventLoop& loop, EventLoop::Task task);
    /// The task is not called any more.
    ~LoopTimer();
    LoopTimer(const LoopTimer&) = delete;
    LoopTimer& operator=(const LoopTimer&) = delete;

    /// Counts from now; an earlier time is forgotten.
    void Arm(std::chrono::microseconds delay);
    void Disarm();
    [[nodiscard]] bool IsArmed() const;

private:
    EventLoop::Task task;
    sd_event_source* source = nullptr;
};

} // namespace Zel::Host::Service

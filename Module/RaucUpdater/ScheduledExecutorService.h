#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Threading/ConditionVariable.h"
#include "Zel/System/Commons/Threading/Mutex.h"
#include "Zel/System/Commons/Threading/Thread.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>

namespace Zel::Services::SoftwareUpdate::Internal::Threading
{

/// Runs one named task once, after a delay, on a thread of its own; until it starts it can be cancelled, or
/// replaced by another one. Tasks never run at the same time.
///
/// Every operation may be called from any thread, but `Schedule` and `Cancel` not from within a task. Lock
/// order: schedule mutex, wait mutex, runs mutex.
class ScheduledExecutorService
    : private System::Commons::Diagnostics::Logging::Loggable<ScheduledExecutorService>
{
public:
    using Task = std::function<void()>;
    using TimePoint = std::chrono::steady_clock::time_point;

    ScheduledExecutorService() = default;

    /// Cancels and waits until no thread of this object runs any more.
    virtual ~ScheduledExecutorService();
    ScheduledExecutorService(const ScheduledExecutorService&) = delete;
    ScheduledExecutorService& operator=(const ScheduledExecutorService&) = delete;

    /// Runs `task` after `delayMs` milliseconds on a new thread named `taskName`. A task that waits is
    /// replaced and never runs; one that runs already goes on, and the new delay begins when it has ended.
    /// The thread waits for the low 32 bits of the delay, so no longer than 49.7 days. An exception of the
    /// task ends its thread and is logged there. Returns false when the thread cannot be started.
    [[nodiscard]] bool Schedule(const String& taskName, long long delayMs, Task task);

    /// When the task scheduled last is due, by its whole delay.
    [[nodiscard]] TimePoint GetScheduledTime() const noexcept { return scheduledTime.load(); }

    /// Takes back a task that waits and returns when its thread has ended; waits for one that runs.
    void Cancel();

private:
    /// What one thread has to do. Each has its own, so that a thread which was replaced can neither start nor
    /// lose the task of another.
    struct Appointment
    {
        String taskName;
        /// Milliseconds.
        long long delay;
        Task task;
        std::atomic<bool> cancelled{false};
    };

    class LiveRun;

    void Run(void* appointment);
    void CancelRuns();
    void EndRun(const Appointment& appointment);

    std::atomic<TimePoint> scheduledTime{};
    std::unique_ptr<System::Commons::Threading::Thread> worker;
    System::Commons::Threading::ConditionVariable condition;
    /// Serialises `Schedule` and `Cancel`; guards `worker`.
    System::Commons::Threading::Mutex scheduleMutex;
    /// Held by a thread that waits or runs its task.
    System::Commons::Threading::Mutex waitMutex;
    /// Guards `liveRuns`; held for moments only.
    System::Commons::Threading::Mutex runsMutex;
    System::Commons::Threading::ConditionVariable runEnded;
    /// One for every thread that was started and has not ended, the replaced ones included.
    std::list<Appointment> liveRuns;
};

} // namespace Zel::Services::SoftwareUpdate::Internal::Threading

#include "RaucUpdater/ScheduledExecutorService.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <utility>

namespace Zel::Services::SoftwareUpdate::Internal::Threading
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Threading::Thread;

namespace
{

/// The moment `delayMs` milliseconds from now, or the last one that the clock can count.
ScheduledExecutorService::TimePoint GetDueTime(long long delayMs)
{
    using std::chrono::milliseconds;
    const auto now = std::chrono::steady_clock::now();
    const auto longest =
        std::chrono::floor<milliseconds>(ScheduledExecutorService::TimePoint::max() - now).count();
    return now + milliseconds(std::clamp<long long>(delayMs, -longest, longest));
}

} // namespace

/// Strikes a run off the list when its thread leaves, however it leaves.
class ScheduledExecutorService::LiveRun
{
public:
    LiveRun(ScheduledExecutorService& executor, const Appointment& appointment)
        : executor(executor), appointment(appointment)
    {
    }

    ~LiveRun() { executor.EndRun(appointment); }

    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;

private:
    ScheduledExecutorService& executor;
    const Appointment& appointment;
};

ScheduledExecutorService::~ScheduledExecutorService()
{
    Cancel();
    std::unique_lock lock(runsMutex);
    runEnded.wait(lock, [this] { return liveRuns.empty(); });
}

bool ScheduledExecutorService::Schedule(const String& taskName, long long delayMs, Task task)
{
    const std::lock_guard lock(scheduleMutex);
    std::list<Appointment> added;
    Appointment& appointment = added.emplace_back();
    appointment.taskName = taskName;
    appointment.delay = delayMs;
    appointment.task = std::move(task);
    CancelRuns();
    // The earlier thread object is destroyed without a join: its thread finds its appointment cancelled.
    worker = std::make_unique<Thread>(taskName, Thread::Entry::Bind<&ScheduledExecutorService::Run>(this),
                                      &appointment);
    scheduledTime = GetDueTime(delayMs);
    {
        const std::lock_guard runsLock(runsMutex);
        liveRuns.splice(liveRuns.end(), added);
    }
    if (!worker->Start())
    {
        EndRun(appointment);
        return false;
    }
    return true;
}

void ScheduledExecutorService::Cancel()
{
    const std::lock_guard scheduleLock(scheduleMutex);
    CancelRuns();
    {
        // Whoever waits has seen the cancellation or is notified of it; whoever runs its task is waited for.
        const std::lock_guard waitLock(waitMutex);
        condition.notify_all();
    }
    if (worker)
    {
        worker->Join();
        worker.reset();
    }
}

void ScheduledExecutorService::Run(void* argument)
{
    const auto& appointment = *static_cast<const Appointment*>(argument);
    const LiveRun run(*this, appointment);
    Log(LogLevel::Debug, "Timer '{0}' is running.", appointment.taskName);
    std::unique_lock lock(waitMutex);
    // The low 32 bits are meant; the scheduled time has the whole delay.
    const std::chrono::milliseconds delay(static_cast<std::uint32_t>(appointment.delay));
    const auto deadline = std::chrono::steady_clock::now() + delay;
    if (condition.wait_until(lock, deadline, [&] { return appointment.cancelled.load(); }))
    {
        Log(LogLevel::Debug, "Timer '{0}' has been interrupted.", appointment.taskName);
        return;
    }
    Log(LogLevel::Debug, "Execute task '{0}'.", appointment.taskName);
    appointment.task();
}

void ScheduledExecutorService::CancelRuns()
{
    const std::lock_guard lock(runsMutex);
    for (Appointment& appointment : liveRuns)
    {
        appointment.cancelled = true;
    }
    condition.notify_all();
}

void ScheduledExecutorService::EndRun(const Appointment& appointment)
{
    // Notified under the lock: the destructor may go on as soon as it is free.
    const std::lock_guard lock(runsMutex);
    liveRuns.remove_if([&](const Appointment& run) { return &run == &appointment; });
    runEnded.notify_all();
}

} // namespace Zel::Services::SoftwareUpdate::Internal::Threading

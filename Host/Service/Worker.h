#pragma once

#include "Service/EventLoop.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Threading/Thread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace Zel::Host::Service
{

/// One thread that runs tasks, guarded as the loop's are, in the order in which they were posted.
class Worker
{
public:
    using Task = EventLoop::Task;

    /// Starts the thread under this name; throws `Exception` when the system refuses.
    explicit Worker(String name);
    /// Stops.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// May be called from any thread; does nothing once stopped.
    void Post(Task task);

    /// Says that the running task goes on; does nothing between tasks. May be called from any thread.
    void NoteProgress();

    /// How long the running task has been running, or has not made progress; 0 between tasks. May be called
    /// from any thread.
    [[nodiscard]] std::chrono::milliseconds GetTaskTime() const;

    /// Whether the running task should end soon. May be called from any thread.
    [[nodiscard]] bool IsStopped() const { return stopped; }

    /// Returns when the running task has ended; those that wait are dropped. Not to be called on the thread.
    void Stop();

private:
    void Run(void* argument);
    [[nodiscard]] Task Take();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Task> tasks;
    std::atomic<bool> stopped = false;
    /// A reading of the steady clock, or the earliest one between tasks.
    std::atomic<std::chrono::steady_clock::time_point> progressTime{};
    System::Commons::Threading::Thread thread;
};

} // namespace Zel::Host::Service

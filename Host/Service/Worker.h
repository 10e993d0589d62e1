#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Threading/Thread.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace Zel::Host::Service
{

/// One thread that runs tasks in the order in which they were posted. An exception that leaves a task is
/// logged at error level, and the next one runs.
class Worker : private System::Commons::Diagnostics::Logging::Loggable<Worker>
{
public:
    using Task = std::function<void()>;

    /// Starts the thread under this name; throws `Exception` when the system refuses.
    explicit Worker(String name);
    /// Stops.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// May be called from any thread; does nothing once stopped.
    void Post(Task task);

    /// Returns when the running task has ended; those that wait are dropped. Not to be called on the thread.
    void Stop();

private:
    void Run(void* argument);
    [[nodiscard]] Task Take();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Task> tasks;
    bool stopped = false;
    System::Commons::Threading::Thread thread;
};

} // namespace Zel::Host::Service

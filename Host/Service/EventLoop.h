#pragma once

#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <sys/types.h>

#include <functional>
#include <mutex>
#include <vector>

struct sd_event;
struct sd_event_source;

namespace Zel::Host::Service
{

/// The service's main loop: one thread that owns everything but the module's calls. What fails while the loop
/// is built throws `Exception`; an exception that leaves a task is logged at error level and goes no further.
class EventLoop : private System::Commons::Diagnostics::Logging::Loggable<EventLoop>
{
public:
    using Task = std::function<void()>;
    /// Takes a wait status as waitpid(2) gives it.
    using ChildHandler = std::function<void(int waitStatus)>;

    EventLoop();
    /// Drops the tasks that did not run.
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Keeps SIGTERM, SIGINT and SIGCHLD for the loop. Called once, before the process starts a thread.
    static void BlockSignals();

    /// Makes SIGTERM and SIGINT call `task` on the loop's thread.
    void OnEndSignals(Task task);

    /// Has `task` run on the loop's thread, after everything that was posted before. May be called from any
    /// thread.
    void Post(Task task);

    /// Runs until `Exit` and returns its code.
    int Run();

    /// Runs what is posted already; for the time after `Run`.
    void RunPosted();

    /// Ends `Run`; on the loop's thread. Of several calls the first one counts.
    void Exit(int code);

    /// Waits for a child process in the background and calls `handler` on the loop's thread; must be called
    /// there. Does nothing when the loop is ending.
    void ReapChild(pid_t child, ChildHandler handler);

    /// Runs `task`; what it throws is logged.
    static void Guard(const Task& task) noexcept;

    /// The event loop of libsystemd; owned here.
    [[nodiscard]] sd_event* Get() const noexcept;

private:
    sd_event* event = nullptr;
    sd_event_source* wakeUpSource = nullptr;
    int wakeUp = -1;
    Task endTask;
    bool exiting = false;
    std::mutex mutex;
    std::vector<Task> posted;
};

} // namespace Zel::Host::Service

#include "Service/EventLoop.h"

#include "Service/SystemCall.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;

namespace
{

struct Child
{
    EventLoop::ChildHandler handler;
};

int OnWakeUp(sd_event_source* /*source*/, int descriptor, std::uint32_t /*events*/, void* loop)
{
    std::uint64_t count = 0;
    if (read(descriptor, &count, sizeof(count)) == sizeof(count))
    {
        static_cast<EventLoop*>(loop)->RunPosted();
    }
    return 0;
}

int OnSignal(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/, void* task)
{
    EventLoop::Guard(*static_cast<EventLoop::Task*>(task));
    return 0;
}

int OnChild(sd_event_source* /*source*/, const siginfo_t* info, void* child)
{
    const int status = info->si_code == CLD_EXITED ? W_EXITCODE(info->si_status, 0) : info->si_status;
    EventLoop::Guard([&] { static_cast<Child*>(child)->handler(status); });
    return 0;
}

void ForgetChild(void* child)
{
    const std::unique_ptr<Child> forgotten(static_cast<Child*>(child));
}

} // namespace

EventLoop::EventLoop()
{
    CheckSystemCall(sd_event_new(&event), "create the event loop");
    wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const int result =
        wakeUp < 0 ? -errno : sd_event_add_io(event, &wakeUpSource, wakeUp, EPOLLIN, OnWakeUp, this);
    if (result < 0)
    {
        sd_event_unref(event);
        CheckSystemCall(result, "create the event loop's wake-up");
    }
}

EventLoop::~EventLoop()
{
    sd_event_source_disable_unref(wakeUpSource);
    sd_event_unref(event);
    close(wakeUp);
}

void EventLoop::BlockSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGCHLD);
    CheckSystemCall(-pthread_sigmask(SIG_BLOCK, &signals, nullptr), "block signals");
}

void EventLoop::OnEndSignals(Task task)
{
    endTask = std::move(task);
    for (const int number : {SIGTERM, SIGINT})
    {
        CheckSystemCall(sd_event_add_signal(event, nullptr, number, OnSignal, &endTask),
                        "listen for signals");
    }
}

void EventLoop::Post(Task task)
{
    {
        const std::lock_guard lock(mutex);
        posted.push_back(std::move(task));
    }
    const std::uint64_t one = 1;
    // The only failure is a full counter, and then the loop wakes up anyway.
    static_cast<void>(!write(wakeUp, &one, sizeof(one)));
}

int EventLoop::Run()
{
    return CheckSystemCall(sd_event_loop(event), "run the event loop");
}

void EventLoop::RunPosted()
{
    std::vector<Task> tasks;
    {
        const std::lock_guard lock(mutex);
        tasks.swap(posted);
    }
    for (const Task& task : tasks)
    {
        Guard(task);
    }
}

void EventLoop::Exit(int code)
{
    if (!exiting)
    {
        exiting = true;
        CheckSystemCall(sd_event_exit(event, code), "end the event loop");
    }
}

void EventLoop::ReapChild(pid_t child, ChildHandler handler)
{
    if (exiting)
    {
        return;
    }
    auto kept = std::make_unique<Child>(Child{std::move(handler)});
    sd_event_source* source = nullptr;
    CheckSystemCall(sd_event_add_child(event, &source, child, WEXITED, OnChild, kept.get()),
                    "watch a process");
    sd_event_source_set_destroy_callback(source, ForgetChild);
    static_cast<void>(kept.release());
    sd_event_source_set_floating(source, 1);
    sd_event_source_unref(source);
}

void EventLoop::Guard(const Task& task) noexcept
{
    try
    {
        task();
    }
    catch (const std::exception& exception)
    {
        Log(LogLevel::Error, "A task of the main loop failed: {0}", exception.what());
    }
    catch (...)
    {
        Log(LogLevel::Error, "A task of the main loop failed.");
    }
}

sd_event* EventLoop::Get() const noexcept
{
    return event;
}

} // namespace Zel::Host::Service

#include "Zel/System/Commons/Chrono/Timer.h"

#include "Zel/Exception.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Threading/Thread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace Zel::System::Commons::Chrono
{

using Diagnostics::Logging::LogLevel;
using Threading::Thread;
using Clock = std::chrono::steady_clock;

namespace
{

[[nodiscard]] std::chrono::microseconds CheckPeriod(std::int64_t period)
{
    if (period < 1 || period > Timer::MaximumPeriod)
    {
        throw ArgumentException("period", "Invalid timer period");
    }
    return std::chrono::microseconds(period);
}

} // namespace

/// One thread at most lives at a time. A restart while it still runs a handler re-arms that thread instead of
/// starting a second one, so handlers never run side by side.
struct Timer::State : private Diagnostics::Logging::Loggable<Timer>
{
    State(Timer& timer, std::int64_t period, String name, int priority, std::size_t stackSize)
        : elapsed(timer.Elapsed), period(CheckPeriod(period)), name(std::move(name)), priority(priority),
          stackSize(stackSize)
    {
    }

    [[nodiscard]] bool Start();
    void Stop();

    [[nodiscard]] bool IsOwnThread() const { return thread && thread->IsCurrent(); }

    [[nodiscard]] bool StartThread();
    void Run(void* argument);
    [[nodiscard]] bool WaitForTick(std::unique_lock<std::mutex>& lock);
    void Raise() const;

    const Event<>& elapsed;
    const std::chrono::microseconds period;
    const String name;
    const int priority;
    const std::size_t stackSize;

    mutable std::mutex mutex;
    /// Notified when one of the members below changes.
    std::condition_variable changed;
    bool running = false;
    /// The thread is in `Run` and will look at `running` again.
    bool looping = false;
    /// Other threads that are in `Stop`.
    int stopping = 0;
    Clock::time_point nextTick;
    std::unique_ptr<Thread> thread;
};

bool Timer::State::Start()
{
    std::unique_lock lock(mutex);
    if (stopping > 0 && IsOwnThread())
    {
        return false;
    }
    changed.wait(lock, [this] { return stopping == 0; });
    if (running)
    {
        return true;
    }
    nextTick = Clock::now() + period;
    if (!looping && !StartThread())
    {
        return false;
    }
    running = true;
    changed.notify_all();
    return true;
}

bool Timer::State::StartThread()
{
    if (thread)
    {
        // It left its loop before, so that this wait is short and no handler can be in its way.
        thread->Join();
    }
    thread =
        std::make_unique<Thread>(name, Thread::Entry::Bind<&State::Run>(this), nullptr, priority, stackSize);
    looping = thread->Start();
    if (!looping)
    {
        thread.reset();
    }
    return looping;
}

void Timer::State::Stop()
{
    std::unique_lock lock(mutex);
    running = false;
    changed.notify_all();
    if (IsOwnThread())
    {
        return;
    }
    ++stopping;
    changed.wait(lock, [this] { return !looping; });
    const auto ended = std::move(thread);
    if (ended)
    {
        ended->Join();
    }
    --stopping;
    changed.notify_all();
}

void Timer::State::Run(void* /*argument*/)
{
    std::unique_lock lock(mutex);
    // Until the starter has released the lock, `running` is not yet set; after that it says how to go on.
    while (WaitForTick(lock))
    {
        lock.unlock();
        Raise();
        lock.lock();
    }
    looping = false;
    changed.notify_all();
}

bool Timer::State::WaitForTick(std::unique_lock<std::mutex>& lock)
{
    const auto now = Clock::now();
    if (nextTick <= now)
    {
        nextTick += period * ((now - nextTick) / period + 1);
    }
    while (running && Clock::now() < nextTick)
    {
        static_cast<void>(changed.wait_until(lock, nextTick));
    }
    return running;
}

void Timer::State::Raise() const
{
    try
    {
        elapsed.Raise();
    }
    catch (...)
    {
        Log(LogLevel::Error, "A handler of timer '{0}' failed: {1}", name, DescribeCurrentException());
    }
}

Timer::Timer(std::int64_t period, String name, int priority, std::size_t stackSize)
    : state(std::make_unique<State>(*this, period, std::move(name), priority, stackSize))
{
}

Timer::~Timer()
{
    state->Stop();
}

bool Timer::Start()
{
    return state->Start();
}

void Timer::Stop()
{
    state->Stop();
}

bool Timer::IsRunning() const
{
    const std::lock_guard lock(state->mutex);
    return state->running;
}

} // namespace Zel::System::Commons::Chrono

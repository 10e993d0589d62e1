#include "Zel/System/Commons/Threading/Thread.h"

#include "Zel/Exception.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace Zel::System::Commons::Threading
{

using Diagnostics::Logging::LogLevel;

namespace
{

/// What the kernel keeps of a thread's name, in bytes.
constexpr std::size_t MaximumKernelName = 15;

/// The attributes of a thread to be created; released with the object.
class Attributes
{
public:
    Attributes() : result(pthread_attr_init(&attributes)) {}

    ~Attributes() { static_cast<void>(pthread_attr_destroy(&attributes)); }

    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    void SetStackSize(std::size_t bytes)
    {
        Keep([&] { return pthread_attr_setstacksize(&attributes, bytes); });
    }

    void SetRoundRobin(int priority)
    {
        sched_param parameters{};
        parameters.sched_priority = priority;
        Keep([&] { return pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED); });
        Keep([&] { return pthread_attr_setschedpolicy(&attributes, SCHED_RR); });
        Keep([&] { return pthread_attr_setschedparam(&attributes, &parameters); });
    }

    [[nodiscard]] const pthread_attr_t* Get() const noexcept { return &attributes; }

    /// The first failure's error number, 0 for none.
    [[nodiscard]] int GetResult() const noexcept { return result; }

private:
    template <typename Call>
    void Keep(Call call)
    {
        result = result == 0 ? call() : result;
    }

    pthread_attr_t attributes{};
    int result;
};

} // namespace

/// Shared with the running thread, which may outlive its `Thread`.
struct Thread::State : private Diagnostics::Logging::Loggable<Thread>
{
    State(String name, Entry entry, void* argument, int priority, std::size_t stackSize)
        : name(std::move(name)), entry(std::move(entry)), argument(argument), priority(priority),
          stackSize(stackSize)
    {
    }

    static void* Run(void* passed);
    void Call() const;
    [[nodiscard]] int Create(std::shared_ptr<State> self);

    using Loggable<Thread>::Log;

    const String name;
    const Entry entry;
    void* const argument;
    const int priority;
    const std::size_t stackSize;
    pthread_t handle{};
    bool started = false;
    std::atomic<bool> joinable{false};
    /// Written by the running thread only: its own ID while it runs.
    std::atomic<std::thread::id> id{};
};

void* Thread::State::Run(void* passed)
{
    const std::unique_ptr<std::shared_ptr<State>> owned(static_cast<std::shared_ptr<State>*>(passed));
    State& state = **owned;
    state.id = std::this_thread::get_id();
    static_cast<void>(pthread_setname_np(pthread_self(), Truncate(state.name, MaximumKernelName).c_str()));
    state.Call();
    state.id = std::thread::id();
    return nullptr;
}

void Thread::State::Call() const
{
    try
    {
        entry(argument);
    }
    catch (...)
    {
        if (!std::current_exception())
        {
            // pthread_exit unwinds the stack with what is no C++ exception and must not be kept.
            throw;
        }
        Log(LogLevel::Error, "Thread '{0}' ended by an exception: {1}", name, DescribeCurrentException());
    }
}

int Thread::State::Create(std::shared_ptr<State> self)
try
{
    Attributes attributes;
    if (stackSize != 0)
    {
        attributes.SetStackSize(stackSize);
    }
    if (priority != 0)
    {
        attributes.SetRoundRobin(priority);
    }
    if (attributes.GetResult() != 0)
    {
        return attributes.GetResult();
    }
    auto passed = std::make_unique<std::shared_ptr<State>>(std::move(self));
    const int result = pthread_create(&handle, attributes.Get(), &State::Run, passed.get());
    if (result == 0)
    {
        static_cast<void>(passed.release());
    }
    return result;
}

catch (const std::bad_alloc&)
{
    return ENOMEM;
}

Thread::Thread(String name, Entry entry, void* argument, int priority, std::size_t stackSize)
    : state(std::make_shared<State>(std::move(name), std::move(entry), argument, priority, stackSize))
{
}

Thread::~Thread()
{
    if (state->joinable)
    {
        static_cast<void>(pthread_detach(state->handle));
    }
}

bool Thread::Start()
{
    if (state->started)
    {
        State::Log(LogLevel::Error, "Thread '{0}' was started before.", state->name);
        return false;
    }
    const int result = state->Create(state);
    if (result != 0)
    {
        State::Log(LogLevel::Error, "Failed to start thread '{0}': {1}", state->name,
                   std::generic_category().message(result));
        return false;
    }
    state->started = true;
    state->joinable = true;
    return true;
}

void Thread::Join()
{
    if (!state->joinable)
    {
        return;
    }
    const int result = pthread_join(state->handle, nullptr);
    if (result != 0)
    {
        State::Log(LogLevel::Error, "Failed to join thread '{0}': {1}", state->name,
                   std::generic_category().message(result));
        return;
    }
    state->joinable = false;
}

bool Thread::IsCurrent() const noexcept
{
    return state->id.load() == std::this_thread::get_id();
}

const String& Thread::GetName() const noexcept
{
    return state->name;
}

void Thread::Sleep(unsigned int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace Zel::System::Commons::Threading

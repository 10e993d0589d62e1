#include "Zel/System/Commons/Threading/Thread.h"

#include "Zel/Exception.h"

#include "Support/RecordingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <array>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>

namespace Zel::System::Commons::Threading
{

using testing::ElementsAre;
using Tests::Support::RecordingLog;

namespace
{

/// What a thread finds out about itself.
struct Facts
{
    void Read(void* passed)
    {
        argument = passed;
        current = thread != nullptr && thread->IsCurrent();
        std::array<char, 16> buffer{};
        EXPECT_EQ(pthread_getname_np(pthread_self(), buffer.data(), buffer.size()), 0);
        name = buffer.data();
        sched_param parameters{};
        EXPECT_EQ(pthread_getschedparam(pthread_self(), &policy, &parameters), 0);
        priority = parameters.sched_priority;
        pthread_attr_t attributes;
        EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
        EXPECT_EQ(pthread_attr_getstacksize(&attributes, &stackSize), 0);
        EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
    }

    const Thread* thread = nullptr;
    void* argument = nullptr;
    bool current = false;
    String name;
    int policy = 0;
    int priority = 0;
    std::size_t stackSize = 0;
};

} // namespace

TEST(ThreadTest, RunsItsEntryOnceWithNameArgumentAndStack)
{
    constexpr std::size_t StackSize = std::size_t{1} << 20U;
    Facts facts;
    Thread thread("RaucUpdateStatusTimer", Thread::Entry::Bind<&Facts::Read>(&facts), &facts, 0, StackSize);
    facts.thread = &thread;
    EXPECT_FALSE(thread.IsJoinable());
    ASSERT_TRUE(thread.Start());
    EXPECT_TRUE(thread.IsJoinable());
    EXPECT_FALSE(thread.IsCurrent());
    thread.Join();
    thread.Join();
    EXPECT_FALSE(thread.IsJoinable());
    EXPECT_EQ(facts.name, "RaucUpdateStatu");
    EXPECT_EQ(thread.GetName(), "RaucUpdateStatusTimer");
    EXPECT_EQ(facts.argument, &facts);
    EXPECT_TRUE(facts.current);
    EXPECT_GE(facts.stackSize, StackSize);
    EXPECT_LT(facts.stackSize, 2 * StackSize);
}

TEST(ThreadTest, NameIsNotCutInsideACharacter)
{
    Facts facts;
    Thread thread("fourteen bytes\u00e9", Thread::Entry::Bind<&Facts::Read>(&facts));
    ASSERT_TRUE(thread.Start());
    thread.Join();
    EXPECT_EQ(facts.name, "fourteen bytes");
}

TEST(ThreadTest, PriorityIsHonouredOrRefusedButNeverIgnored)
{
    const RecordingLog log;
    Facts facts;
    Thread thread("realtime", Thread::Entry::Bind<&Facts::Read>(&facts), nullptr, 3);
    if (thread.Start())
    {
        thread.Join();
        EXPECT_EQ(facts.policy, SCHED_RR);
        EXPECT_EQ(facts.priority, 3);
    }
    else
    {
        EXPECT_THAT(log->GetLines(),
                    ElementsAre("error Thread: Failed to start thread 'realtime': Operation not permitted"));
    }
}

TEST(ThreadTest, StartThatIsRefusedIsLogged)
{
    const RecordingLog log;
    const Thread::Entry entry = [](void*) {};
    Thread stackless("stackless", entry, nullptr, 0, 1);
    EXPECT_FALSE(stackless.Start());
    EXPECT_FALSE(stackless.IsJoinable());
    Thread urgent("urgent", entry, nullptr, 1000);
    EXPECT_FALSE(urgent.Start());
    Thread twice("twice", entry);
    ASSERT_TRUE(twice.Start());
    EXPECT_FALSE(twice.Start());
    twice.Join();
    EXPECT_FALSE(twice.Start());
    EXPECT_THAT(log->GetLines(),
                ElementsAre("error Thread: Failed to start thread 'stackless': Invalid argument",
                            "error Thread: Failed to start thread 'urgent': Invalid argument",
                            "error Thread: Thread 'twice' was started before.",
                            "error Thread: Thread 'twice' was started before."));
}

TEST(ThreadTest, ExceptionsOfTheEntryAreLogged)
{
    const RecordingLog log;
    const Thread::Entry entries[] = {[](void*) { throw Exception("ours"); },
                                     [](void*) { throw std::runtime_error("theirs"); },
                                     [](void*) { throw 7; }, Thread::Entry()};
    for (const auto& entry : entries)
    {
        Thread thread("worker", entry);
        ASSERT_TRUE(thread.Start());
        thread.Join();
    }
    EXPECT_THAT(log->GetLines(),
                ElementsAre("error Thread: Thread 'worker' ended by an exception: Zel::Exception: ours",
                            "error Thread: Thread 'worker' ended by an exception: theirs",
                            "error Thread: Thread 'worker' ended by an exception: unknown exception",
                            "error Thread: Thread 'worker' ended by an exception: bad_function_call"));
}

TEST(ThreadTest, DestroyedUnjoinedItGoesOn)
{
    std::promise<void> destroyed;
    const auto finished = std::make_shared<std::promise<int>>();
    {
        Thread thread("detached",
                      [finished, waiting = destroyed.get_future().share()](void*)
                      {
                          waiting.wait();
                          finished->set_value(42);
                      });
        ASSERT_TRUE(thread.Start());
    }
    destroyed.set_value();
    auto result = finished->get_future();
    ASSERT_EQ(result.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(result.get(), 42);
}

TEST(ThreadTest, PthreadExitEndsTheThreadOnly)
{
    const RecordingLog log;
    Thread thread("leaving", [](void*) { pthread_exit(nullptr); });
    ASSERT_TRUE(thread.Start());
    thread.Join();
    EXPECT_THAT(log->GetLines(), ElementsAre());
}

TEST(ThreadTest, SleepLastsAtLeastItsTime)
{
    const auto begin = std::chrono::steady_clock::now();
    Thread::Sleep(15);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(15));
}

} // namespace Zel::System::Commons::Threading

#include "Zel/System/Commons/Threading/Thread.h"

#include "Zel/Exception.h"

#include "Support/RecordingLog.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <future>
#include <stdexcept>

namespace Zel::System::Commons::Threading
{

using testing::ElementsAre;

TEST(ThreadTest, RunsItsEntryOnceWithNameAndPriorityOrIsNotStarted)
{
    char name[16] = {};
    int policy = -1;
    const auto look = [&](void* thread)
    {
        sched_param parameters{};
        EXPECT_TRUE(static_cast<Thread*>(thread)->IsCurrent());
        EXPECT_EQ(pthread_getname_np(pthread_self(), name, sizeof(name)), 0);
        EXPECT_EQ(pthread_getschedparam(pthread_self(), &policy, &parameters), 0);
    };
    const Tests::Support::RecordingLog log;
    Thread plain("fourteen bytes\u00e9", look, &plain);
    ASSERT_TRUE(plain.Start());
    EXPECT_FALSE(plain.IsCurrent());
    plain.Join();
    plain.Join();
    EXPECT_STREQ(name, "fourteen bytes");
    EXPECT_FALSE(plain.Start());
    EXPECT_FALSE(Thread("stackless", look, nullptr, 0, 1).Start());
    EXPECT_THAT(log.GetLines(),
                ElementsAre("error Thread: Thread 'fourteen bytes\u00e9' was started before.",
                            "error Thread: Failed to start thread 'stackless': Invalid argument"));
    Thread urgent("urgent", look, &urgent, 3);
    const bool started = urgent.Start();
    urgent.Join();
    EXPECT_EQ(policy, started ? SCHED_RR : SCHED_OTHER);
}

TEST(ThreadTest, ExceptionsOfTheEntryAreLoggedAndPthreadExitIsNone)
{
    const Tests::Support::RecordingLog log;
    for (const Thread::Entry& entry :
         {Thread::Entry([](void*) { throw Exception("ours"); }), Thread::Entry([](void*) { throw 7; }),
          Thread::Entry([](void*) { throw std::runtime_error("theirs"); }), Thread::Entry(pthread_exit)})
    {
        Thread thread("worker", entry);
        ASSERT_TRUE(thread.Start());
        thread.Join();
    }
    const String prefix = "error Thread: Thread 'worker' ended by an exception: ";
    EXPECT_THAT(log.GetLines(), ElementsAre(prefix + "Zel::Exception: ours", prefix + "unknown exception",
                                            prefix + "theirs"));
}

TEST(ThreadTest, DestroyedUnjoinedItGoesOn)
{
    std::promise<void> destroyed;
    const auto finished = std::make_shared<std::promise<void>>();
    const auto entry = [finished, waiting = destroyed.get_future().share()](void*)
    {
        waiting.wait();
        finished->set_value();
    };
    EXPECT_TRUE(Thread("detached", entry).Start());
    destroyed.set_value();
    EXPECT_EQ(finished->get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

} // namespace Zel::System::Commons::Threading

#include "RaucUpdater/ScheduledExecutorService.h"

#include "Support/RecordingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <limits>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace Zel::Services::SoftwareUpdate::Internal::Threading
{
namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr long long Never = 3'600'000;

/// A delay whose low 32 bits are 0: due at once for the thread, in 49.7 days by the scheduled time.
constexpr long long WrappingDelay = 1LL << 32;

/// Blocks a task until it is opened.
class Gate
{
public:
    void Pass()
    {
        reached.set_value();
        opened.get_future().wait();
    }

    void WaitUntilReached() { reached.get_future().wait(); }

    void Open() { opened.set_value(); }

private:
    std::promise<void> reached;
    std::promise<void> opened;
};

class ScheduledExecutorServiceTest : public testing::Test
{
protected:
    [[nodiscard]] std::vector<String> GetLog() const { return log->GetLinesOf("ScheduledExecutorService"); }

    [[nodiscard]] static String Line(const String& text) { return "debug ScheduledExecutorService: " + text; }

    const Tests::Support::RecordingLog log;
    std::optional<ScheduledExecutorService> executor{std::in_place};
};

TEST_F(ScheduledExecutorServiceTest, RunsTheTaskOnceNotBeforeItsDelay)
{
    const auto begin = Clock::now();
    std::promise<Clock::time_point> ran;
    ASSERT_TRUE(executor->Schedule("T", 150, [&] { ran.set_value(Clock::now()); }));
    EXPECT_GE(executor->GetScheduledTime(), begin + 150ms);
    EXPECT_LE(executor->GetScheduledTime(), Clock::now() + 150ms);

    EXPECT_GE(ran.get_future().get(), begin + 150ms);
    executor.reset();
    EXPECT_THAT(GetLog(), ElementsAre(Line("Timer 'T' is running."), Line("Execute task 'T'.")));
}

TEST_F(ScheduledExecutorServiceTest, CancelInterruptsAWaitingTaskAndAnotherMayFollow)
{
    ASSERT_TRUE(executor->Schedule("T", Never, [] { ADD_FAILURE() << "the task ran"; }));
    ASSERT_TRUE(log->WaitForLine(Line("Timer 'T' is running.")));
    executor->Cancel();
    executor->Cancel();
    EXPECT_THAT(GetLog(),
                ElementsAre(Line("Timer 'T' is running."), Line("Timer 'T' has been interrupted.")));

    std::promise<void> ran;
    ASSERT_TRUE(executor->Schedule("U", 1, [&] { ran.set_value(); }));
    ran.get_future().wait();
}

TEST_F(ScheduledExecutorServiceTest, CancelWaitsForARunningTask)
{
    Gate gate;
    std::atomic<bool> ended = false;
    ASSERT_TRUE(executor->Schedule("T", 0,
                                   [&]
                                   {
                                       gate.Pass();
                                       ended = true;
                                   }));
    gate.WaitUntilReached();
    auto cancelled = std::async(std::launch::async, [&] { executor->Cancel(); });
    EXPECT_EQ(cancelled.wait_for(50ms), std::future_status::timeout);
    gate.Open();
    cancelled.wait();
    EXPECT_TRUE(ended);
}

TEST_F(ScheduledExecutorServiceTest, AReplacedTaskNeverRuns)
{
    std::promise<void> ran;
    ASSERT_TRUE(executor->Schedule("old", 100, [] { ADD_FAILURE() << "the replaced task ran"; }));
    ASSERT_TRUE(executor->Schedule("new", 1, [&] { ran.set_value(); }));
    ran.get_future().wait();
    executor.reset();
    EXPECT_THAT(GetLog(), UnorderedElementsAre(Line("Timer 'old' is running."),
                                               Line("Timer 'old' has been interrupted."),
                                               Line("Timer 'new' is running."), Line("Execute task 'new'.")));
}

TEST_F(ScheduledExecutorServiceTest, TheDestructorWaitsForAReplacedRunThatIsInItsTask)
{
    Gate gate;
    std::atomic<bool> ended = false;
    ASSERT_TRUE(executor->Schedule("old", 0,
                                   [&]
                                   {
                                       gate.Pass();
                                       ended = true;
                                   }));
    gate.WaitUntilReached();
    ASSERT_TRUE(executor->Schedule("new", 0, [&] { EXPECT_TRUE(ended) << "two tasks ran together"; }));
    auto destroyed = std::async(std::launch::async, [&] { executor.reset(); });
    EXPECT_EQ(destroyed.wait_for(50ms), std::future_status::timeout);
    gate.Open();
    destroyed.wait();
    EXPECT_TRUE(ended);
}

TEST_F(ScheduledExecutorServiceTest, TheDestructorWakesEveryWaitingRun)
{
    for (int i = 0; i < 20; ++i)
    {
        ASSERT_TRUE(executor->Schedule("T", Never, [] { ADD_FAILURE() << "a task ran"; }));
    }
    const auto begin = Clock::now();
    executor.reset();
    EXPECT_LT(Clock::now() - begin, 5s);
}

TEST_F(ScheduledExecutorServiceTest, ATaskMayScheduleItsSuccessor)
{
    std::promise<void> ran;
    bool accepted = false;
    ASSERT_TRUE(executor->Schedule(
        "first", 0, [&] { accepted = executor->Schedule("second", 0, [&] { ran.set_value(); }); }));
    ran.get_future().wait();
    EXPECT_TRUE(accepted);
}

TEST_F(ScheduledExecutorServiceTest, ATaskMayCancelWhichTakesBackItsSuccessorOnly)
{
    std::promise<void> ended;
    ASSERT_TRUE(executor->Schedule("first", 0,
                                   [&]
                                   {
                                       executor->Cancel();
                                       EXPECT_TRUE(executor->Schedule("second", 0, [] { FAIL(); }));
                                       executor->Cancel();
                                       ended.set_value();
                                   }));
    ended.get_future().wait();
    ASSERT_TRUE(log->WaitForLine(Line("Timer 'second' has been interrupted.")));
}

TEST_F(ScheduledExecutorServiceTest, ATaskThatIsWaitedForSchedulesNothingMore)
{
    Gate gate;
    ASSERT_TRUE(executor->Schedule("T", 0,
                                   [&]
                                   {
                                       gate.Pass();
                                       while (executor->Schedule("next", Never, [] {}))
                                       {
                                           std::this_thread::sleep_for(1ms);
                                       }
                                   }));
    gate.WaitUntilReached();
    auto cancelled = std::async(std::launch::async, [&] { executor->Cancel(); });
    gate.Open();
    ASSERT_EQ(cancelled.wait_for(30s), std::future_status::ready);
    ASSERT_TRUE(executor->Schedule("after", Never, [] {}));
}

TEST_F(ScheduledExecutorServiceTest, AnExceptionOfTheTaskEndsItsThreadAndIsLogged)
{
    ASSERT_TRUE(executor->Schedule("T", 0, [] { throw std::runtime_error("broken"); }));
    ASSERT_TRUE(log->WaitForLine("error Thread: Thread 'T' ended by an exception: broken"));
    ASSERT_TRUE(executor->Schedule("empty", 0, nullptr));
    ASSERT_TRUE(log->WaitForLine("error Thread: Thread 'empty' ended by an exception: bad_function_call"));
    executor.reset();
}

TEST_F(ScheduledExecutorServiceTest, TheThreadWaitsForTheLowBitsOfTheDelayOnly)
{
    std::promise<void> ran;
    ASSERT_TRUE(executor->Schedule("T", WrappingDelay, [&] { ran.set_value(); }));
    EXPECT_GT(executor->GetScheduledTime(), Clock::now() + std::chrono::hours(24 * 49));
    ran.get_future().wait();
}

TEST_F(ScheduledExecutorServiceTest, ADelayBeyondTheClockIsCut)
{
    ASSERT_TRUE(executor->Schedule("T", std::numeric_limits<long long>::max(), [] { FAIL(); }));
    EXPECT_GT(executor->GetScheduledTime(), Clock::now() + std::chrono::hours(24 * 365 * 200));
}

} // namespace
} // namespace Zel::Services::SoftwareUpdate::Internal::Threading

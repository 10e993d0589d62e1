#include "RaucUpdater/ScheduledExecutorService.h"

#include "Support/RecordingLog.h"

#include <gmock/gmock.h>

#include <future>
#include <limits>
#include <optional>

namespace Zel::Services::SoftwareUpdate::Internal::Threading
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr long long Never = 3'600'000;

struct ScheduledExecutorServiceTest : testing::Test
{
    /// Schedules a task that tells when it runs and waits until it may end.
    void ScheduleBlocked()
    {
        const auto task = [this]
        {
            reached.set_value();
            opened.get_future().wait();
            ended = true;
        };
        ASSERT_TRUE(executor->Schedule("blocked", 0, task));
        reached.get_future().wait();
    }

    /// Expects that `wait` returns when the blocked task has ended, and not before.
    void ExpectWait(const std::function<void()>& wait)
    {
        auto waiting = std::async(std::launch::async, wait);
        EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
        opened.set_value();
        waiting.wait();
        EXPECT_TRUE(ended);
    }

    [[nodiscard]] static String Line(const String& text) { return "debug ScheduledExecutorService: " + text; }

    const Tests::Support::RecordingLog log;
    std::promise<void> reached;
    std::promise<void> opened;
    std::atomic<bool> ended = false;
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
    EXPECT_THAT(log.GetLinesOf("ScheduledExecutorService"),
                testing::ElementsAre(Line("Timer 'T' is running."), Line("Execute task 'T'.")));
}

TEST_F(ScheduledExecutorServiceTest, NoOrderOfOperationsRunsATaskThatWasReplacedOrTwoTogetherOrOneAfterTheEnd)
{
    // Every sequence of six, and then the end.
    for (int sequence = 0; sequence < 729; ++sequence)
    {
        std::atomic<int> running = 0;
        std::atomic<bool> isQuiet = false;
        executor.emplace();
        const ScheduledExecutorService::Task tasks[] = {
            [] { ADD_FAILURE() << "a task ran too early"; },
            [&] { EXPECT_TRUE(++running == 1 && !isQuiet && --running == 0); }};
        for (int step = 0, rest = sequence; step < 6; ++step, rest /= 3)
        {
            isQuiet = false;
            const int task = rest % 3;
            task < 2 ? static_cast<void>(executor->Schedule("task", task == 0 ? Never : 0, tasks[task]))
                     : executor->Cancel();
            isQuiet = task == 2;
        }
        executor.reset();
        EXPECT_EQ(running, 0);
    }
}

TEST_F(ScheduledExecutorServiceTest, CancelInterruptsAWaitingTaskAndWaitsForARunningOne)
{
    ASSERT_TRUE(executor->Schedule("T", Never, [] { ADD_FAILURE() << "the task ran"; }));
    ASSERT_TRUE(log.WaitForLine(Line("Timer 'T' is running.")));
    const auto begin = Clock::now();
    executor->Cancel();
    EXPECT_LT(Clock::now() - begin, 5s);
    EXPECT_EQ(log.GetLines().back(), Line("Timer 'T' has been interrupted."));
    ScheduleBlocked();
    ExpectWait([&] { executor->Cancel(); });
}

TEST_F(ScheduledExecutorServiceTest, TheDestructorWaitsForAReplacedRunThatIsInItsTask)
{
    ScheduleBlocked();
    ASSERT_TRUE(executor->Schedule("new", 0, [&] { EXPECT_TRUE(ended) << "two tasks ran together"; }));
    ExpectWait([&] { executor.reset(); });
}

TEST_F(ScheduledExecutorServiceTest, TheThreadWaitsForTheLowBitsOfADelayThatIsKeptAsFarAsTheClockGoes)
{
    ASSERT_TRUE(executor->Schedule("T", 1LL << 32, [&] { reached.set_value(); }));
    EXPECT_GT(executor->GetScheduledTime(), Clock::now() + std::chrono::hours(24 * 49));
    reached.get_future().wait();
    ASSERT_TRUE(executor->Schedule("T", std::numeric_limits<long long>::max(), [] { FAIL(); }));
    EXPECT_GT(executor->GetScheduledTime(), Clock::now() + std::chrono::hours(24 * 365 * 200));
}

} // namespace Zel::Services::SoftwareUpdate::Internal::Threading

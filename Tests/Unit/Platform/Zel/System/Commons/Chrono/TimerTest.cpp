#include "Zel/System/Commons/Chrono/Timer.h"

#include "Zel/Exception.h"
#include "Zel/System/Commons/ArgumentException.h"

#include "Support/RecordingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

namespace Zel::System::Commons::Chrono
{

using testing::ElementsAre;
using Tests::Support::RecordingLog;

namespace
{

constexpr std::int64_t Millisecond = 1000;
constexpr std::chrono::seconds Deadline(10);

/// Counts ticks and runs a body in each, given the tick's number from 1.
class Handler
{
public:
    explicit Handler(
        Timer& timer, std::function<void(int)> body = [](int) {})
        : timer(timer), body(std::move(body))
    {
        timer.Elapsed.Add(Delegate<>::Bind<&Handler::OnElapsed>(this));
    }

    ~Handler()
    {
        timer.Stop();
        timer.Elapsed.Remove(Delegate<>::Bind<&Handler::OnElapsed>(this));
    }

    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    /// Returns whether so many ticks began before the deadline.
    [[nodiscard]] bool WaitForTicks(int count)
    {
        std::unique_lock lock(mutex);
        return ticked.wait_for(lock, Deadline, [&] { return ticks >= count; });
    }

    [[nodiscard]] int GetTicks()
    {
        const std::lock_guard lock(mutex);
        return ticks;
    }

    [[nodiscard]] bool RanSideBySide() const { return sideBySide; }

private:
    void OnElapsed()
    {
        sideBySide = sideBySide || running.exchange(true);
        int tick = 0;
        {
            const std::lock_guard lock(mutex);
            tick = ++ticks;
            ticked.notify_all();
        }
        body(tick);
        running = false;
    }

    Timer& timer;
    const std::function<void(int)> body;
    std::mutex mutex;
    std::condition_variable ticked;
    int ticks = 0;
    std::atomic<bool> running{false};
    std::atomic<bool> sideBySide{false};
};

/// Opens once, for everybody.
class Gate
{
public:
    void Open()
    {
        const std::lock_guard lock(mutex);
        open = true;
        opened.notify_all();
    }

    void Wait()
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(opened.wait_for(lock, Deadline, [this] { return open; }));
    }

private:
    std::mutex mutex;
    std::condition_variable opened;
    bool open = false;
};

void WaitUntilNotRunning(const Timer& timer)
{
    const auto end = std::chrono::steady_clock::now() + Deadline;
    while (timer.IsRunning() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::yield();
    }
    EXPECT_FALSE(timer.IsRunning());
}

} // namespace

TEST(TimerTest, TicksFirstAfterAWholePeriodAndThenOn)
{
    Timer timer(20 * Millisecond, "ticking");
    std::chrono::steady_clock::time_point first;
    Handler handler(timer,
                    [&](int tick)
                    {
                        if (tick == 1)
                        {
                            first = std::chrono::steady_clock::now();
                        }
                    });
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(timer.Start());
    EXPECT_TRUE(timer.Start());
    EXPECT_TRUE(timer.IsRunning());
    EXPECT_TRUE(handler.WaitForTicks(3));
    timer.Stop();
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_GE(first - begin, std::chrono::milliseconds(20));
}

TEST(TimerTest, StopWaitsForTheHandlerAndNothingRunsBehindIt)
{
    Timer timer(Millisecond, "stopped");
    Gate release;
    std::vector<int> order;
    Handler handler(timer,
                    [&](int tick)
                    {
                        release.Wait();
                        order.push_back(tick);
                    });
    ASSERT_TRUE(timer.Start());
    ASSERT_TRUE(handler.WaitForTicks(1));
    std::thread stopper(
        [&]
        {
            timer.Stop();
            order.push_back(-1);
        });
    WaitUntilNotRunning(timer);
    release.Open();
    stopper.join();
    EXPECT_THAT(order, ElementsAre(1, -1));
}

TEST(TimerTest, NoHandlerRunsAfterStopHoweverShortThePeriod)
{
    Timer timer(1, "hot");
    std::atomic<bool> stopped{true};
    std::atomic<bool> late{false};
    Handler handler(timer, [&](int) { late = late || stopped; });
    for (int round = 1; round <= 200; ++round)
    {
        stopped = false;
        ASSERT_TRUE(timer.Start());
        ASSERT_TRUE(handler.WaitForTicks(round));
        timer.Stop();
        stopped = true;
    }
    EXPECT_FALSE(late);
    EXPECT_FALSE(handler.RanSideBySide());
}

TEST(TimerTest, StopFromItsHandlerIsTheLastTickAndAStopBehindItWaits)
{
    Timer timer(Millisecond, "self");
    Gate stopped;
    Gate release;
    std::atomic<bool> finished{false};
    Handler handler(timer,
                    [&](int)
                    {
                        timer.Stop();
                        stopped.Open();
                        release.Wait();
                        finished = true;
                    });
    ASSERT_TRUE(timer.Start());
    stopped.Wait();
    EXPECT_FALSE(timer.IsRunning());
    std::thread releaser([&] { release.Open(); });
    timer.Stop();
    EXPECT_TRUE(finished);
    releaser.join();
    EXPECT_EQ(handler.GetTicks(), 1);
}

TEST(TimerTest, HandlerMayStopAndStartAgain)
{
    Timer timer(Millisecond, "restarted");
    std::atomic<bool> started{true};
    Handler handler(timer,
                    [&](int tick)
                    {
                        // The fifth one may meet the stop at the end, which refuses its start.
                        timer.Stop();
                        const bool restarted = timer.Start();
                        started = started && (restarted || tick >= 5);
                    });
    ASSERT_TRUE(timer.Start());
    EXPECT_TRUE(handler.WaitForTicks(5));
    timer.Stop();
    EXPECT_TRUE(started);
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_FALSE(handler.RanSideBySide());
}

TEST(TimerTest, StartFromAnotherThreadTakesOverTheHandlerThatStopped)
{
    Timer timer(Millisecond, "taken over");
    Gate stopped;
    Gate release;
    Handler handler(timer,
                    [&](int tick)
                    {
                        if (tick == 1)
                        {
                            timer.Stop();
                            stopped.Open();
                            release.Wait();
                        }
                    });
    ASSERT_TRUE(timer.Start());
    stopped.Wait();
    EXPECT_TRUE(timer.Start());
    release.Open();
    EXPECT_TRUE(handler.WaitForTicks(3));
    timer.Stop();
    EXPECT_FALSE(handler.RanSideBySide());
}

TEST(TimerTest, StartOfAHandlerLosesAgainstAStopThatWaitsForIt)
{
    Timer timer(Millisecond, "refused");
    std::atomic<bool> started{true};
    Handler handler(timer,
                    [&](int)
                    {
                        WaitUntilNotRunning(timer);
                        started = timer.Start();
                    });
    ASSERT_TRUE(timer.Start());
    ASSERT_TRUE(handler.WaitForTicks(1));
    timer.Stop();
    EXPECT_FALSE(started);
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_TRUE(timer.Start());
}

TEST(TimerTest, ExceptionsOfHandlersAreLoggedAndTheTimerGoesOn)
{
    const RecordingLog log;
    Timer timer(Millisecond, "failing");
    Handler handler(timer,
                    [](int tick)
                    {
                        if (tick == 1)
                        {
                            throw Exception("ours");
                        }
                        if (tick == 2)
                        {
                            throw 7;
                        }
                    });
    ASSERT_TRUE(timer.Start());
    EXPECT_TRUE(handler.WaitForTicks(3));
    timer.Stop();
    EXPECT_THAT(log->GetLines(),
                ElementsAre("error Timer: A handler of timer 'failing' failed: Zel::Exception: ours",
                            "error Timer: A handler of timer 'failing' failed: unknown exception"));
}

TEST(TimerTest, StartsAndStopsOfSeveralThreadsEndStopped)
{
    Timer timer(1, "contended");
    Handler handler(timer);
    std::array<std::thread, 4> threads;
    for (auto& thread : threads)
    {
        thread = std::thread(
            [&]
            {
                for (int round = 0; round < 100; ++round)
                {
                    static_cast<void>(timer.Start());
                    timer.Stop();
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_FALSE(handler.RanSideBySide());
    ASSERT_TRUE(timer.Start());
    EXPECT_TRUE(handler.WaitForTicks(handler.GetTicks() + 1));
}

TEST(TimerTest, StartWithoutAThreadIsReported)
{
    const RecordingLog log;
    Timer timer(Millisecond, "stackless", 0, 1);
    EXPECT_FALSE(timer.Start());
    EXPECT_FALSE(timer.IsRunning());
    timer.Stop();
    EXPECT_THAT(log->GetLines(),
                ElementsAre("error Thread: Failed to start thread 'stackless': Invalid argument"));
}

TEST(TimerTest, PeriodOutsideOfItsRangeIsRefused)
{
    for (const std::int64_t period : {std::int64_t{0}, std::int64_t{-1}, Timer::MaximumPeriod + 1,
                                      std::numeric_limits<std::int64_t>::max()})
    {
        EXPECT_THROW(Timer(period, "wrong"), ArgumentException) << period;
    }
    Timer timer(Timer::MaximumPeriod, "longest");
    EXPECT_TRUE(timer.Start());
}

} // namespace Zel::System::Commons::Chrono

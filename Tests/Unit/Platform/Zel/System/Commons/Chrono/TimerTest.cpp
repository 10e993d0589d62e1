#include "Zel/System/Commons/Chrono/Timer.h"

#include "Zel/System/Commons/ArgumentException.h"

#include "Support/RecordingLog.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <thread>

namespace Zel::System::Commons::Chrono
{

using std::chrono::steady_clock;

/// Returns whether the condition came true within 10 s.
template <typename Condition>
[[nodiscard]] bool WaitUntil(const Condition& condition)
{
    const auto end = steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && steady_clock::now() < end)
    {
        std::this_thread::yield();
    }
    return condition();
}

/// Counts a timer's ticks and runs a body in each, given the tick's number from 1. Fails the test when two
/// ticks run side by side. The period is in microseconds.
struct Ticker
{
    explicit Ticker(std::int64_t period, std::function<void(int)> body)
        : body(std::move(body)), timer(period, "ticker")
    {
        timer.Elapsed.Add(Delegate<>::Bind<&Ticker::OnElapsed>(this));
    }

    void OnElapsed()
    {
        const std::unique_lock alone(handler, std::try_to_lock);
        EXPECT_TRUE(alone.owns_lock());
        body(++ticks);
    }

    const std::function<void(int)> body;
    std::mutex handler;
    std::atomic<int> ticks{0};
    // Last, so that nothing ticks any more when the others are destroyed.
    Timer timer;
};

TEST(TimerTest, HandlerMayStopAndStartAgainButNotAgainstAStopThatWaitsForIt)
{
    std::atomic<bool> finished{false};
    Ticker ticker(1000,
                  [&](int tick)
                  {
                      tick < 3 ? ticker.timer.Stop() : void();
                      EXPECT_TRUE(WaitUntil([&] { return !ticker.timer.IsRunning(); }));
                      EXPECT_EQ(ticker.timer.Start(), tick < 3);
                      finished = tick == 3;
                  });
    ASSERT_TRUE(ticker.timer.Start());
    ASSERT_TRUE(WaitUntil([&] { return ticker.ticks == 3; }));
    ticker.timer.Stop();
    EXPECT_TRUE(finished && !ticker.timer.IsRunning());
}

TEST(TimerTest, AHandlerThatStoppedTheTimerIsWaitedForAndTakenOverByARestart)
{
    for (const bool restarts : {false, true})
    {
        std::atomic<bool> released{false};
        std::atomic<bool> finished{false};
        const auto body = [&](Timer& timer)
        {
            timer.Stop();
            finished = WaitUntil([&] { return released.load(); });
        };
        Ticker ticker(1000, [&](int tick) { tick == 1 ? body(ticker.timer) : void(); });
        ASSERT_TRUE(ticker.timer.Start());
        ASSERT_TRUE(WaitUntil([&] { return !ticker.timer.IsRunning(); }));
        EXPECT_TRUE(!restarts || ticker.timer.Start());
        std::thread releaser([&] { released = true; });
        EXPECT_TRUE(!restarts || WaitUntil([&] { return ticker.ticks >= 3; }));
        ticker.timer.Stop();
        EXPECT_TRUE(finished);
        EXPECT_EQ(ticker.ticks == 1, !restarts);
        releaser.join();
    }
}

TEST(TimerTest, NoHandlerRunsAfterStopHoweverShortThePeriod)
{
    std::atomic<bool> stopped{true};
    Ticker ticker(1, [&](int) { EXPECT_FALSE(stopped); });
    const auto startAndStop = [&](bool waits)
    {
        for (int round = 0; round < 200; ++round)
        {
            stopped = false;
            EXPECT_TRUE(ticker.timer.Start());
            EXPECT_TRUE(!waits ||
                        WaitUntil([&, ticks = ticker.ticks.load()] { return ticker.ticks > ticks; }));
            ticker.timer.Stop();
            stopped = waits;
        }
    };
    startAndStop(true);
    std::thread other(startAndStop, false);
    startAndStop(false);
    other.join();
    EXPECT_FALSE(ticker.timer.IsRunning());
}

TEST(TimerTest, TicksFirstAfterAWholePeriodAndGoesOnBehindAnExceptionWhichIsLogged)
{
    const Tests::Support::RecordingLog log;
    Ticker ticker(20'000, [](int) { throw Exception("ours"); });
    const auto begin = steady_clock::now();
    ASSERT_TRUE(ticker.timer.Start() && ticker.timer.Start());
    EXPECT_TRUE(WaitUntil([&] { return ticker.ticks >= 1; }));
    EXPECT_GE(steady_clock::now() - begin, std::chrono::milliseconds(20));
    EXPECT_TRUE(WaitUntil([&] { return ticker.ticks >= 2; }));
    EXPECT_THAT(log.GetLines(),
                testing::Contains("error Timer: A handler of timer 'ticker' failed: Zel::Exception: ours"));
}

TEST(TimerTest, RefusesAPeriodOutsideOfItsRangeAndAStartWithoutAThread)
{
    EXPECT_THROW(Timer(0, "wrong"), ArgumentException);
    EXPECT_THROW(Timer(Timer::MaximumPeriod + 1, "wrong"), ArgumentException);
    const Tests::Support::RecordingLog log;
    EXPECT_FALSE(Timer(Timer::MaximumPeriod, "stackless", 0, 1).Start());
    EXPECT_EQ(log.GetLines().size(), 1U);
}

} // namespace Zel::System::Commons::Chrono

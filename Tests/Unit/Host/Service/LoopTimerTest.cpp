#include "Service/LoopTimer.h"

#include "Support/ComponentFixture.h"

#include <chrono>
#include <optional>

namespace Zel::Host::Service
{

TEST(LoopTimerTest, ATimerOfALongTurnDoesNotEndEarly)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds Delay{2};
    LoopRunner runner;
    Clock::time_point due;
    std::optional<Clock::time_point> ended;
    LoopTimer timer(runner.loop, [&ended] { ended = Clock::now(); });
    runner.loop.Post(
        [&]
        {
            const Clock::time_point begun = Clock::now();
            while (Clock::now() < begun + 2 * Delay)
            {
                // The turn is longer than the delay.
            }
            due = Clock::now() + Delay;
            timer.Arm(Delay);
        });
    ASSERT_TRUE(runner.RunUntil([&ended] { return ended.has_value(); }));
    EXPECT_GE(*ended, due);
}

} // namespace Zel::Host::Service

#include "RaucUpdater/Internal/DesktopBus/DesktopBusCallGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using std::chrono::milliseconds;

/// Whether another thread gets in within a moment.
bool IsFree(const DesktopBusCallGate& gate, milliseconds limit = milliseconds(20))
{
    return std::async(std::launch::async, [&] { return gate.TryEnter(limit).IsHeld(); }).get();
}

TEST(DesktopBusCallGateTest, OneThreadMayEnterAgainAndIsInsideUntilAllPassesAreBack)
{
    const DesktopBusCallGate gate;
    auto first = gate.Enter();
    auto second = gate.Enter();
    EXPECT_FALSE(IsFree(gate));
    first.Release();
    EXPECT_FALSE(IsFree(gate));
    second.Release();
    EXPECT_TRUE(IsFree(gate));
    second.Release();
    EXPECT_TRUE(IsFree(gate));
}

TEST(DesktopBusCallGateTest, TheThreadInsideIsToldAtOnceThatItCannotListen)
{
    const DesktopBusCallGate gate;
    const auto pass = gate.Enter();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(gate.TryEnter(std::chrono::hours(1)).IsHeld());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(DesktopBusCallGateTest, AMovedPassIsGivenBackOnceAndByAnyThread)
{
    const DesktopBusCallGate gate;
    DesktopBusCallGate::Pass pass = gate.Enter();
    DesktopBusCallGate::Pass moved = std::move(pass);
    EXPECT_FALSE(pass.IsHeld()); // NOLINT(bugprone-use-after-move)
    pass.Release();
    EXPECT_FALSE(IsFree(gate));
    std::thread([given = std::move(moved)] {}).join();
    EXPECT_TRUE(IsFree(gate));

    moved = gate.Enter();
    moved = DesktopBusCallGate::Pass();
    EXPECT_TRUE(IsFree(gate));
}

TEST(DesktopBusCallGateTest, APassOutlivesTheGate)
{
    DesktopBusCallGate::Pass pass;
    {
        const DesktopBusCallGate gate;
        pass = gate.Enter();
    }
    EXPECT_TRUE(pass.IsHeld());
}

TEST(DesktopBusCallGateTest, WhoGivesUpDoesNotBlockThoseBehind)
{
    const DesktopBusCallGate gate;
    auto pass = gate.Enter();
    auto givesUp = std::async(std::launch::async, [&] { return gate.TryEnter(milliseconds(50)).IsHeld(); });
    auto waits = std::async(std::launch::async, [&] { return gate.Enter().IsHeld(); });
    EXPECT_FALSE(givesUp.get());
    pass.Release();
    ASSERT_EQ(waits.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_TRUE(waits.get());
}

TEST(DesktopBusCallGateTest, NeitherABusyCallerNorABusyListenerShutsTheOtherOut)
{
    const DesktopBusCallGate gate;
    constexpr int Enough = 1000;
    std::atomic<int> calls = 0;
    std::atomic<int> runs = 0;
    std::thread caller(
        [&]
        {
            while (runs < Enough)
            {
                const auto pass = gate.Enter();
                ++calls;
            }
        });
    while (runs < Enough || calls < Enough)
    {
        const auto pass = gate.TryEnter(std::chrono::seconds(10));
        ASSERT_TRUE(pass.IsHeld());
        ++runs;
        if (runs >= Enough && calls < Enough)
        {
            runs = 0;
        }
    }
    caller.join();
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "RaucBusTest.h"

#include <atomic>
#include <thread>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

/// The bus daemon dies under an open connection and comes back.
class BusDeathTest : public RaucBusTest
{
protected:
    void TearDown() override
    {
        bus.Kill();
        bus.Start();
    }

    DesktopBusManager manager;
};

TEST_F(BusDeathTest, CallsFailAndTheNextOpenConnectsAnew)
{
    ASSERT_TRUE(manager.Open());
    ASSERT_TRUE(manager.CanInstall());
    bus.Kill();
    for (int call = 0; call < 3; ++call)
    {
        EXPECT_FALSE(manager.CanInstall());
        EXPECT_FALSE(manager.Install("/bundle"));
    }
    manager.Close();
    EXPECT_FALSE(manager.Open());

    bus.Start();
    ScriptedRauc another(bus);
    ASSERT_TRUE(manager.Open());
    EXPECT_TRUE(manager.CanInstall());
    another.EmitCompleted(9);
    EXPECT_TRUE(received.WaitFor("Completed 9"));
}

TEST_F(BusDeathTest, TheListenerReadsOnAndNothingCanBeSent)
{
    DesktopBusConnection connection;
    ASSERT_TRUE(connection.Open());
    bus.Kill();
    log->Clear();
    for (int run = 0; run < 5; ++run)
    {
        connection.ReadSignals();
    }
    EXPECT_EQ(GetErrors(), Lines());
    const auto pendingCall =
        connection.SendMessageWithReplyAsync(DesktopBusManager::CreateRaucMessage("GetPrimary"));
    EXPECT_FALSE(pendingCall.IsSet());
    EXPECT_FALSE(connection.ListenForSignal("a.b"));
    EXPECT_EQ(GetErrors(), Lines{"error DesktopBusConnection: Add signal error Connection is closed"});
}

TEST_F(BusDeathTest, SignalsThatNobodyReadDoNotKeepTheDeadConnection)
{
    DesktopBusConnection connection;
    ASSERT_TRUE(connection.Open());
    ASSERT_TRUE(connection.StopListenForSignals());
    rauc.EmitCompleted(1);
    rauc.EmitCompleted(2);
    RaucOperationProperty operation;
    // Its reply comes behind the signals, which are in libdbus's queue then.
    ASSERT_TRUE(operation.SendMessage(connection, false));
    bus.Kill();
    EXPECT_FALSE(operation.SendMessage(connection, false));
    connection.Close();
    bus.Start();
    const ScriptedRauc another(bus);
    ASSERT_TRUE(connection.Open());
    EXPECT_TRUE(operation.SendMessage(connection, false));
    connection.Close();
}

TEST_F(BusDeathTest, ABlockedCallReturns)
{
    ASSERT_TRUE(manager.Open());
    rauc.SetAnswer("Operation", Answer::None());
    std::thread killer(
        [this]
        {
            static_cast<void>(rauc.WaitForCalls("Get"));
            bus.Kill();
        });
    EXPECT_FALSE(manager.CanInstall());
    killer.join();
}

TEST_F(BusDeathTest, ManyDeathsUnderThreeCallersAndAHotListenerAreSurvived)
{
    for (int death = 0; death < 10; ++death)
    {
        DesktopBusConnection connection;
        ASSERT_TRUE(connection.Open());
        std::atomic<bool> isEnding = false;
        std::atomic<int> calls = 0;
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int caller = 0; caller < 3; ++caller)
        {
            threads.emplace_back(
                [&]
                {
                    while (!isEnding)
                    {
                        RaucOperationProperty operation;
                        static_cast<void>(operation.SendMessage(connection, true));
                        ++calls;
                    }
                });
        }
        threads.emplace_back(
            [&]
            {
                while (!isEnding)
                {
                    connection.ReadSignals();
                }
            });
        const auto waitForMoreCalls = [&calls](int more)
        {
            const int enough = calls + more;
            while (calls < enough)
            {
                std::this_thread::yield();
            }
        };
        waitForMoreCalls(20);
        bus.Kill();
        waitForMoreCalls(20);
        isEnding = true;
        for (auto& thread : threads)
        {
            thread.join();
        }
        connection.Close();
        bus.Start();
    }
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

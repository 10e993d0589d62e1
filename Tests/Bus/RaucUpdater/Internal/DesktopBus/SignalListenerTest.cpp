#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"

#include "RaucBusTest.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using System::Commons::Delegate;

/// RAUC's signals through an open connection.
class SignalListenerTest : public RaucBusTest
{
protected:
    void SetUp() override { ASSERT_TRUE(manager.Open()); }

    DesktopBusManager manager;
};

TEST_F(SignalListenerTest, AnInstallationIsToldInRaucsOrder)
{
    rauc.LetInstallationSucceed();
    ASSERT_TRUE(manager.Install("/bundle"));
    ASSERT_TRUE(received.WaitFor("Operation idle"));
    const auto lines = received.GetLines();
    ASSERT_EQ(lines.size(), 22U);
    EXPECT_EQ(lines[0], "Operation installing");
    EXPECT_EQ(lines[1], "LastError ");
    EXPECT_EQ(lines[2], "Progress 0 Installing 1");
    EXPECT_EQ(lines[17], "Progress 99 Copying image to rootfs.1 done. 3");
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{"Progress 100 Installing done. 1", "Completed 0", "Operation idle"}));
    EXPECT_EQ(GetErrors(), Lines());
}

TEST_F(SignalListenerTest, AFailedInstallationTellsItsReasonBeforeItsEnd)
{
    rauc.LetInstallationFail("signature verification failed: Verify error: self-signed certificate");
    ASSERT_TRUE(manager.Install("/bundle"));
    ASSERT_TRUE(received.WaitFor("Operation idle"));
    const auto lines = received.GetLines();
    EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
              (Lines{"Progress 100 Installing failed. 1",
                     "LastError signature verification failed: Verify error: self-signed certificate",
                     "Completed 1", "Operation idle"}));
}

TEST_F(SignalListenerTest, ABurstIsReadWholeInOneRun)
{
    rauc.LetInstallationSucceed(ScriptedRauc::Edition::Rauc115);
    rauc.HoldInstallation();
    ASSERT_TRUE(manager.Install("/bundle"));
    ASSERT_TRUE(received.WaitFor("Progress 10 Determining slot states done. 2"));
    log->Clear();
    rauc.ReleaseInstallation();
    ASSERT_TRUE(received.WaitFor("Operation idle"));
    const auto lines = received.GetLines();
    EXPECT_EQ(std::ranges::count_if(lines, [](const String& line) { return line.starts_with("Progress"); }),
              71);
    EXPECT_EQ(lines[lines.size() - 2], "Completed 0");
}

TEST_F(SignalListenerTest, OtherSignalsAreIgnoredAndTheNextOnesHandled)
{
    rauc.EmitSignal("de.pengutronix.rauc.Installer", "Other");
    rauc.EmitForeignProperty("org.example.Other", "Operation", "installing");
    rauc.EmitForeignProperty("de.pengutronix.rauc.Installer", "Variant", "x");
    rauc.EmitSignal("de.pengutronix.rauc.Installer", "Completed");
    rauc.EmitCompleted(7);
    ASSERT_TRUE(received.WaitFor("Completed 7"));
    EXPECT_EQ(received.GetLines(), Lines{"Completed 7"});
    const auto lines = log->GetLines();
    const String ignored = "debug DesktopBusConnection: Ignore signal: Path=/; "
                           "interface=de.pengutronix.rauc.Installer; member=Other";
    const Lines expected = {
        ignored,
        "trace PropertiesChangedSignal: Unsupported interface name: org.example.Other",
        "debug PropertiesChangedSignal: Unsupported property: Variant",
        "error DesktopBusConnection: Failed to notify RaucCompletedSignal",
        "trace DesktopBusConnection: Got RaucCompletedSignal signal.",
        "debug RaucCompletedSignal: returnCode=7",
    };
    auto position = lines.begin();
    for (const auto& line : expected)
    {
        position = std::find(position, lines.end(), line);
        ASSERT_NE(position, lines.end()) << line;
    }
}

/// Does something once in the handler of "Completed". Closes the connection at its end.
class Handler
{
public:
    Handler(DesktopBusManager& manager, std::function<void()> work) : manager(manager), work(std::move(work))
    {
        RaucCompletedSignal::OnCompleted.Add(
            Delegate<const RaucCompletedSignal&>::Bind<&Handler::OnCompleted>(this));
    }

    ~Handler()
    {
        manager.Close();
        RaucCompletedSignal::OnCompleted.Remove(
            Delegate<const RaucCompletedSignal&>::Bind<&Handler::OnCompleted>(this));
    }

    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    [[nodiscard]] bool WaitUntilDone() const
    {
        return done.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }

private:
    void OnCompleted(const RaucCompletedSignal& /*signal*/)
    {
        if (!std::exchange(wasCalled, true))
        {
            work();
            finished.set_value();
        }
    }

    DesktopBusManager& manager;
    const std::function<void()> work;
    bool wasCalled = false;
    std::promise<void> finished;
    const std::shared_future<void> done = finished.get_future().share();
};

TEST_F(SignalListenerTest, AHandlerMayCallRaucWhileOthersDo)
{
    std::atomic<bool> isEnding = false;
    std::thread other(
        [&]
        {
            while (!isEnding)
            {
                static_cast<void>(manager.CanInstall());
            }
        });
    String slotName;
    const Handler handler(manager, [&] { static_cast<void>(manager.GetPrimarySlot(slotName)); });
    rauc.EmitCompleted(0);
    EXPECT_TRUE(handler.WaitUntilDone());
    isEnding = true;
    other.join();
    EXPECT_EQ(slotName, "rootfs.0");
}

TEST_F(SignalListenerTest, AHandlerMayWaitForALockThatACallerHoldsAcrossItsCall)
{
    std::mutex versions;
    std::unique_lock held(versions);
    const Handler handler(manager, [&] { const std::lock_guard lock(versions); });
    rauc.EmitCompleted(0);
    ASSERT_TRUE(log->WaitForLine("debug RaucCompletedSignal: returnCode=0"));
    EXPECT_TRUE(manager.CanInstall());
    held.unlock();
    EXPECT_TRUE(handler.WaitUntilDone());
}

TEST_F(SignalListenerTest, AHandlerMayCloseTheConnection)
{
    const Handler handler(manager, [&] { manager.Close(); });
    rauc.EmitCompleted(0);
    rauc.EmitOperation("installing");
    EXPECT_TRUE(handler.WaitUntilDone());
    EXPECT_FALSE(manager.CanInstall());
    ASSERT_TRUE(manager.Open());
    rauc.EmitCompleted(3);
    EXPECT_TRUE(received.WaitFor("Completed 3"));
}

TEST_F(SignalListenerTest, AnExceptionOfAHandlerIsLoggedAndTheNextSignalIsHandled)
{
    const Handler handler(manager, [] { throw Exception("the disk is full"); });
    rauc.EmitCompleted(0);
    rauc.EmitCompleted(5);
    ASSERT_TRUE(log->WaitForLine("debug RaucCompletedSignal: returnCode=5"));
    EXPECT_EQ(GetErrors(), Lines{"error DesktopBusConnection: Handler of a signal failed: the disk is full"});
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

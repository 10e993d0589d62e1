#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"

#include "RaucBusTest.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucOperationProperty.h"
#include "Support/Recorded.h"
#include "Zel/Exception.h"
#include "Zel/System/Commons/Delegate.h"

#include <dbus/dbus.h>
#include <gmock/gmock.h>

#include <future>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using namespace std::chrono_literals;
using System::Commons::Delegate;

struct DesktopBusConnectionTest : RaucBusTest
{
    /// A call that RAUC answers with one string.
    static DesktopBusMessage GetPrimary() { return DesktopBusManager::CreateRaucMessage("GetPrimary"); }

    bool CallOnce() { return RaucOperationProperty().SendMessage(connection, false); }

    /// Whether a call of another thread gets through within `limit`.
    bool CanOthersCall(std::chrono::milliseconds limit)
    {
        others.push_back(std::async(std::launch::async, [this] { return CallOnce(); }));
        return others.back().wait_for(limit) == std::future_status::ready;
    }

    /// Does something without a pause, for as long as it lives.
    static std::jthread Repeat(const std::function<void()>& work)
    {
        return std::jthread(
            [work](const std::stop_token& stop)
            {
                while (!stop.stop_requested())
                {
                    work();
                }
            });
    }

    void SetUp() override
    {
        RaucCompletedSignal::OnCompleted.Add(handler);
        ASSERT_TRUE(connection.Open());
    }

    void TearDown() override
    {
        connection.Close();
        RaucCompletedSignal::OnCompleted.Remove(handler);
    }

    void Handle(const RaucCompletedSignal& signal)
    {
        const auto once = std::exchange(onCompleted, [] {});
        received.Add(signal.GetReturnCode());
        once();
    }

    /// Whether a "Completed" with this code was handled, or is within 10 s.
    bool IsReceived(int code) const
    {
        return received.WaitFor([=](int other) { return other == code; });
    }

    Tests::Support::Recorded<int> received;
    DesktopBusConnection connection;
    /// What the next "Completed" is handled with.
    std::function<void()> onCompleted = [] {};
    const Delegate<const RaucCompletedSignal&> handler =
        Delegate<const RaucCompletedSignal&>::Bind<&DesktopBusConnectionTest::Handle>(this);
    /// Last, to be waited for first.
    std::vector<std::future<bool>> others;
};

TEST_F(DesktopBusConnectionTest, NothingUnsetAndNoBadNameReachesLibdbus)
{
    connection.Close();
    EXPECT_FALSE(connection.SendMessageAsync(GetPrimary()));
    EXPECT_FALSE(connection.SendMessageWithReplyAsync(GetPrimary()).IsSet());
    EXPECT_FALSE(connection.GetReply(DesktopBusPendingCall(nullptr)).IsSet());
    connection.ReadSignals();
    connection.Close();
    EXPECT_FALSE(connection.ListenForSignal("a.b") || connection.UnlistenForSignal("a.b"));
    ASSERT_TRUE(connection.Open() && connection.Open());
    EXPECT_FALSE(connection.SendMessageAsync(DesktopBusMessage()));
    EXPECT_FALSE(connection.SendMessageWithReplyAsync(DesktopBusMessage()).IsSet());
    EXPECT_FALSE(connection.ListenForSignal("a.b',member='C\xFF") || connection.UnlistenForSignal("a.b"));
    const String prefix = "error DesktopBusConnection: ";
    EXPECT_EQ(GetErrors(),
              (Lines{prefix + "Out of mem dbus error.", prefix + "Add signal error Connection is closed",
                     prefix + "Remove signal error Connection is closed", prefix + "Out of mem dbus error.",
                     prefix + "Add signal error The interface name is not valid",
                     prefix + "Remove signal error The given match rule wasn't found and can't be removed"}));
    EXPECT_TRUE(CallOnce() && connection.SendMessageAsync(GetPrimary()));
    EXPECT_TRUE(RaucInstallMethod("/bundle").SendMessage(connection, false));
    EXPECT_TRUE(rauc.WaitForCall("GetPrimary") && rauc.WaitForCall("Install"));
    EXPECT_TRUE(log.WaitForLine("trace RaucInstallMethod: Write info arguments.")) << "that text is meant";
    EXPECT_TRUE(log.WaitForLine("trace RaucInstallMethod: Queue rauc install message."));
}

TEST_F(DesktopBusConnectionTest, OpenAndCloseAreToldInOrderAndAClosedOneIsClosedInSilence)
{
    connection.Close();
    log.Clear();
    EXPECT_TRUE(connection.Open() && connection.Open());
    connection.Close();
    connection.Close();
    Lines lines = log.GetLinesOf("DesktopBusConnection");
    std::erase(lines, "trace DesktopBusConnection: There is no available signal.");
    const String debug = "debug DesktopBusConnection: ";
    const String listening = "trace DesktopBusConnection: Listen on DBUS signal ";
    const String properties = "org.freedesktop.DBus.Properties";
    EXPECT_EQ(
        lines,
        (Lines{debug + "Open", debug + "StartListenForSignals", debug + "ListenForSignal: " + rauc.Interface,
               listening + rauc.Interface, debug + "ListenForSignal: " + properties, listening + properties,
               debug + "Already listening for DBUS signals.", debug + "Close",
               debug + "UnlistenForSignal: " + properties, debug + "Unlisten on DBUS signal " + properties,
               debug + "UnlistenForSignal: " + rauc.Interface,
               debug + "Unlisten on DBUS signal " + rauc.Interface, debug + "StopListenForSignals"}));
}

TEST_F(DesktopBusConnectionTest, AThreadHasTheBusUntilEachOfItsRepliesWasTakenOnceOrDropped)
{
    auto sent = connection.SendMessageWithReplyAsync(GetPrimary());
    const auto first = std::move(sent);
    // What is moved is unset, which is tested here.
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_FALSE(connection.GetReply(sent).IsSet());
    bool isForgotten = false;
    {
        const auto second = connection.SendMessageWithReplyAsync(GetPrimary());
        auto dropped = connection.SendMessageWithReplyAsync(GetPrimary());
        EXPECT_FALSE(CanOthersCall(50ms));
        EXPECT_TRUE(connection.GetReply(second).IsMethodReply());
        dropped = connection.SendMessageWithReplyAsync(GetPrimary());
        const auto forget = [](void* forgotten) { *static_cast<bool*>(forgotten) = true; };
        ASSERT_TRUE(dbus_pending_call_set_notify(dropped.Get(), nullptr, &isForgotten, forget));
    }
    EXPECT_TRUE(isForgotten) << "also before its reply";
    connection.ReadSignals();
    EXPECT_FALSE(CanOthersCall(50ms));
    EXPECT_EQ(connection.GetReply(first).ReadFields().at(0).GetString(), "rootfs.0");
    EXPECT_FALSE(connection.GetReply(first).IsSet());
    EXPECT_TRUE(CanOthersCall(10s));
}

TEST_F(DesktopBusConnectionTest, SignalsAreReadUpToAMessageOfAnotherKindAndWaitForTheNextStart)
{
    EXPECT_TRUE(connection.StopListenForSignals());
    for (const char* name : {"Other", "Completed"})
    {
        rauc.Emit(rauc.Interface, name, "");
    }
    rauc.Emit("org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as", "a.b", 0, 0);
    // A reply that nobody takes stands between the signals.
    static_cast<void>(connection.SendMessageWithReplyAsync(GetPrimary()));
    ASSERT_TRUE(rauc.WaitForCall("GetPrimary"));
    rauc.EmitCompleted(2);
    EXPECT_TRUE(CallOnce());
    connection.ReadSignals();
    EXPECT_TRUE(received.Get().empty());
    log.Clear();
    EXPECT_TRUE(connection.StartListenForSignals());
    ASSERT_TRUE(IsReceived(2));
    const String error = "error DesktopBusConnection: Failed to notify ";
    EXPECT_EQ(GetErrors(), (Lines{error + "RaucCompletedSignal", error + "PropertiesChangedSignal"}));
    const String trace = "trace DesktopBusConnection: ";
    EXPECT_THAT(log.GetLines(), testing::IsSupersetOf({trace + "Listerner got signal.",
                                                       trace + "Got PropertiesChanged signal.",
                                                       trace + "Got RaucCompletedSignal signal."}));
}

TEST_F(DesktopBusConnectionTest, AListenerLeavesItsSignalsToTheNextRunWhileACallIsUnderWay)
{
    rauc->answers["Operation"] = Answer::None();
    auto call = std::async(std::launch::async, [this] { return CallOnce(); });
    ASSERT_TRUE(rauc.WaitForCall("Operation"));
    const auto start = std::chrono::steady_clock::now();
    connection.ReadSignals();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    rauc.Vanish();
    EXPECT_FALSE(call.get());
    rauc.Start();
    rauc.EmitCompleted(1);
    EXPECT_TRUE(IsReceived(1));
}

TEST_F(DesktopBusConnectionTest, AHandlerMayWaitForALockOfACallerCallRaucCloseTheConnectionAndThrow)
{
    const String text = "error DesktopBusConnection: Handler of a signal failed: ";
    const std::vector<std::pair<std::function<void()>, Lines>> rows = {
        {[&] { EXPECT_TRUE(CallOnce()); }, {}},
        {[&] { connection.Close(); }, {}},
        {[] { throw Exception("the disk is full"); }, {text + "Zel::Exception: the disk is full"}},
        {[] { throw 5; }, {text + "unknown exception"}}};
    for (const auto& [work, errors] : rows)
    {
        ASSERT_TRUE(connection.Open());
        log.Clear();
        std::mutex versions;
        std::unique_lock held(versions);
        std::promise<void> done;
        onCompleted = [&]
        {
            const std::lock_guard lock(versions);
            const auto atEnd = std::shared_ptr<void>(nullptr, [&](void*) { done.set_value(); });
            work();
        };
        rauc.EmitCompleted(0);
        EXPECT_TRUE(log.WaitForLine("debug RaucCompletedSignal: returnCode=0"));
        EXPECT_TRUE(CallOnce()) << "with what the handler waits for";
        held.unlock();
        done.get_future().wait();
        ASSERT_TRUE(connection.Open());
        rauc.EmitCompleted(5);
        ASSERT_TRUE(IsReceived(5));
        EXPECT_EQ(GetErrors(), errors);
        received.Clear();
    }
}

TEST_F(DesktopBusConnectionTest, AStopWaitsForAHandlerThatHasStoppedItself)
{
    std::promise<void> stopped;
    std::promise<void> released;
    onCompleted = [&]
    {
        EXPECT_TRUE(connection.StopListenForSignals());
        stopped.set_value();
        released.get_future().wait();
    };
    rauc.EmitCompleted(0);
    stopped.get_future().wait();
    others.push_back(std::async(std::launch::async, [this] { return connection.StopListenForSignals(); }));
    EXPECT_EQ(others.back().wait_for(50ms), std::future_status::timeout);
    released.set_value();
    EXPECT_EQ(others.back().wait_for(10s), std::future_status::ready);
}

TEST_F(DesktopBusConnectionTest, WhatNobodyReadIsNotForTheNextOwnerNorHidesThatTheBusIsDead)
{
    const auto leaveUnread = [this](int code)
    {
        ASSERT_TRUE(connection.Open() && connection.StopListenForSignals());
        rauc.EmitCompleted(code);
        // The reply comes behind the signal, which is in libdbus's queue then.
        ASSERT_TRUE(CallOnce());
    };
    leaveUnread(0);
    connection.Close();
    ASSERT_TRUE(connection.Open());
    rauc.EmitCompleted(7);
    ASSERT_TRUE(IsReceived(7));
    EXPECT_EQ(received.Get(), std::vector{7});
    leaveUnread(1);
    bus.Kill();
    EXPECT_FALSE(CallOnce() || CallOnce());
    log.Clear();
    connection.ReadSignals();
    EXPECT_FALSE(connection.SendMessageWithReplyAsync(GetPrimary()).IsSet());
    EXPECT_FALSE(connection.ListenForSignal("a.b"));
    EXPECT_EQ(GetErrors(), Lines{"error DesktopBusConnection: Add signal error Connection is closed"});
    connection.Close();
    log.Clear();
    EXPECT_FALSE(connection.Open());
    EXPECT_THAT(GetErrors(), testing::ElementsAre(
                                 testing::StartsWith("error DesktopBusConnection: Connection Error Failed to "
                                                     "connect to socket ")));
    bus.Start();
    rauc.Restart();
    ASSERT_TRUE(connection.Open());
    EXPECT_TRUE(CallOnce());
    rauc.EmitCompleted(9);
    EXPECT_TRUE(IsReceived(9));
}

TEST_F(DesktopBusConnectionTest,
       FourCallersAMatchChangerAndAHotListenerLoseNothingBeforeTheBusDiesAndSurviveThat)
{
    const Tests::Support::RecordingLog quiet(LogLevel::Error);
    for (int death = 0; death < 5; ++death)
    {
        ASSERT_TRUE(connection.Open());
        received.Clear();
        constexpr std::size_t Signals = 300;
        std::atomic<bool> isBusDead = false;
        std::atomic<int> replies = 0;
        std::atomic<int> lost = 0;
        const auto call = [&]
        {
            // A lost reply costs libdbus's timeout: the first one is enough.
            const bool isLost =
                lost == 0 &&
                !connection.GetReply(connection.SendMessageWithReplyAsync(GetPrimary())).IsMethodReply();
            ++(isLost && !isBusDead ? lost : replies);
        };
        const std::array threads = {Repeat(call), Repeat(call), Repeat(call), Repeat(call),
                                    Repeat([this] { connection.ReadSignals(); })};
        for (std::size_t i = 0; i < Signals || replies < 2'000; ++i)
        {
            i < Signals ? rauc.EmitCompleted(1) : std::this_thread::yield();
            ASSERT_TRUE(connection.ListenForSignal("a.b") && connection.UnlistenForSignal("a.b"));
        }
        rauc.EmitCompleted(0);
        EXPECT_TRUE(IsReceived(0));
        EXPECT_EQ(received.Get().size(), Signals + 1);
        isBusDead = true;
        bus.Kill();
        for (const int enough = replies + 50; replies < enough;)
        {
            std::this_thread::yield();
        }
        EXPECT_EQ(lost, 0);
        connection.Close();
        rauc.Vanish();
        bus.Start();
        rauc.Start();
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

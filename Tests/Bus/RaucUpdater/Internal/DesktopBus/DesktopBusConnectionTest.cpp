#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"

#include "RaucBusTest.h"
#include "RaucUpdater/Internal/DesktopBus/RaucOperationProperty.h"

#include <atomic>
#include <future>
#include <thread>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using std::chrono::milliseconds;

class DesktopBusConnectionTest : public RaucBusTest
{
protected:
    /// A call that RAUC answers with one string.
    static DesktopBusMessage GetPrimary() { return DesktopBusManager::CreateRaucMessage("GetPrimary"); }

    [[nodiscard]] Lines GetConnectionLines() const { return log->GetLinesOf("DesktopBusConnection"); }

    /// Whether a call of another thread gets through within `limit`.
    bool CanOthersCall(milliseconds limit)
    {
        auto result = std::async(std::launch::async, [this] { return CallOnce(); });
        const bool isThrough = result.wait_for(limit) == std::future_status::ready;
        others.push_back(std::move(result));
        return isThrough;
    }

    bool CallOnce()
    {
        RaucOperationProperty operation;
        return operation.SendMessage(connection, false);
    }

    DesktopBusConnection connection;
    /// Last, to be waited for first.
    std::vector<std::future<bool>> others;
};

TEST_F(DesktopBusConnectionTest, OpenAndCloseTellWhatTheyDo)
{
    const String rauc = "de.pengutronix.rauc.Installer";
    const String properties = "org.freedesktop.DBus.Properties";
    const String prefix = " DesktopBusConnection: ";
    ASSERT_TRUE(connection.Open());
    EXPECT_EQ(GetConnectionLines(),
              (Lines{"debug" + prefix + "Open", "debug" + prefix + "StartListenForSignals",
                     "debug" + prefix + "ListenForSignal: " + rauc,
                     "trace" + prefix + "Listen on DBUS signal " + rauc,
                     "debug" + prefix + "ListenForSignal: " + properties,
                     "trace" + prefix + "Listen on DBUS signal " + properties}));
    log->Clear();
    EXPECT_TRUE(connection.Open());
    EXPECT_EQ(GetConnectionLines(), Lines{"debug" + prefix + "Already listening for DBUS signals."});
    log->Clear();
    connection.Close();
    EXPECT_EQ(GetConnectionLines(),
              (Lines{"debug" + prefix + "Close", "debug" + prefix + "UnlistenForSignal: " + properties,
                     "debug" + prefix + "Unlisten on DBUS signal " + properties,
                     "debug" + prefix + "UnlistenForSignal: " + rauc,
                     "debug" + prefix + "Unlisten on DBUS signal " + rauc,
                     "debug" + prefix + "StopListenForSignals"}));
    log->Clear();
    connection.Close();
    EXPECT_EQ(GetConnectionLines(), Lines());
}

TEST_F(DesktopBusConnectionTest, StoppedListeningLeavesSignalsToTheNextStart)
{
    ASSERT_TRUE(connection.Open());
    EXPECT_TRUE(connection.StopListenForSignals());
    rauc.EmitCompleted(4);
    EXPECT_TRUE(CallOnce());
    connection.ReadSignals();
    EXPECT_EQ(received.GetLines(), Lines());
    EXPECT_TRUE(connection.StartListenForSignals());
    EXPECT_TRUE(connection.StartListenForSignals());
    EXPECT_TRUE(received.WaitFor("Completed 4"));
}

TEST_F(DesktopBusConnectionTest, SignalsAreReadInOneRunUpToAMessageOfAnotherKind)
{
    ASSERT_TRUE(connection.Open());
    // A reply that nobody takes stands between the signals.
    rauc.EmitCompleted(1);
    rauc.EmitLastError("text");
    rauc.EmitSignal("de.pengutronix.rauc.Installer", "Unrelated");
    static_cast<void>(connection.SendMessageWithReplyAsync(GetPrimary()));
    ASSERT_TRUE(rauc.WaitForCalls("GetPrimary"));
    rauc.EmitCompleted(2);
    ASSERT_TRUE(received.WaitFor("Completed 2"));
    EXPECT_EQ(received.GetLines(), (Lines{"Completed 1", "LastError text", "Completed 2"}));
    Lines course;
    for (const auto& line : log->GetLines())
    {
        if (line.ends_with("There is no available signal.") || line.ends_with("Listerner got signal."))
        {
            course.push_back(line);
        }
    }
    const String got = "trace DesktopBusConnection: Listerner got signal.";
    const String none = "trace DesktopBusConnection: There is no available signal.";
    course.erase(course.begin(), std::ranges::find(course, got));
    ASSERT_GE(course.size(), 5U);
    EXPECT_EQ(Lines(course.begin(), course.begin() + 5), (Lines{got, got, got, none, got}));
}

TEST_F(DesktopBusConnectionTest, MatchRulesOfBadNamesAndOnClosedConnectionsAreRefused)
{
    EXPECT_FALSE(connection.ListenForSignal("a.b"));
    EXPECT_FALSE(connection.UnlistenForSignal("a.b"));
    ASSERT_TRUE(connection.Open());
    EXPECT_FALSE(connection.ListenForSignal("a.b',member='C\xFF"));
    EXPECT_FALSE(connection.UnlistenForSignal("a.b"));
    EXPECT_EQ(GetErrors(),
              (Lines{"error DesktopBusConnection: Add signal error Connection is closed",
                     "error DesktopBusConnection: Remove signal error Connection is closed",
                     "error DesktopBusConnection: Add signal error The interface name is not valid",
                     "error DesktopBusConnection: Remove signal error The given match rule wasn't found and "
                     "can't be removed"}));
}

TEST_F(DesktopBusConnectionTest, NothingUnsetReachesLibdbus)
{
    EXPECT_FALSE(connection.SendMessageAsync(GetPrimary()));
    EXPECT_FALSE(connection.SendMessageWithReplyAsync(GetPrimary()).IsSet());
    EXPECT_FALSE(connection.GetReply(DesktopBusPendingCall(nullptr)).IsSet());
    connection.ReadSignals();
    ASSERT_TRUE(connection.Open());
    EXPECT_FALSE(connection.SendMessageAsync(DesktopBusMessage()));
    EXPECT_FALSE(connection.SendMessageWithReplyAsync(DesktopBusMessage()).IsSet());
    EXPECT_EQ(GetErrors(), (Lines{"error DesktopBusConnection: Out of mem dbus error.",
                                  "error DesktopBusConnection: Out of mem dbus error."}));
    EXPECT_TRUE(CallOnce());
    EXPECT_TRUE(connection.SendMessageAsync(GetPrimary()));
    EXPECT_TRUE(rauc.WaitForCalls("GetPrimary"));
}

TEST_F(DesktopBusConnectionTest, AReplyIsTakenOnceAndByAMovedPendingCallToo)
{
    ASSERT_TRUE(connection.Open());
    auto sent = connection.SendMessageWithReplyAsync(GetPrimary());
    const auto moved = std::move(sent);
    // What is moved is unset, which is tested here.
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_FALSE(connection.GetReply(sent).IsSet());
    EXPECT_EQ(connection.GetReply(moved).ReadFields().at(0).GetString(), "rootfs.0");
    EXPECT_FALSE(connection.GetReply(moved).IsSet());
    EXPECT_TRUE(CanOthersCall(std::chrono::seconds(10)));
}

TEST_F(DesktopBusConnectionTest, AThreadMayQueueTwoCallsBeforeItTakesTheFirstReply)
{
    ASSERT_TRUE(connection.Open());
    const auto first = connection.SendMessageWithReplyAsync(GetPrimary());
    const auto second = connection.SendMessageWithReplyAsync(GetPrimary());
    EXPECT_FALSE(CanOthersCall(milliseconds(50)));
    EXPECT_TRUE(connection.GetReply(second).IsMethodReply());
    connection.ReadSignals();
    EXPECT_FALSE(CanOthersCall(milliseconds(50)));
    EXPECT_TRUE(connection.GetReply(first).IsMethodReply());
    EXPECT_TRUE(CanOthersCall(std::chrono::seconds(10)));
}

TEST_F(DesktopBusConnectionTest, APendingCallThatIsDroppedLetsTheOthersIn)
{
    ASSERT_TRUE(connection.Open());
    {
        const auto dropped = connection.SendMessageWithReplyAsync(GetPrimary());
        EXPECT_FALSE(CanOthersCall(milliseconds(50)));
    }
    EXPECT_TRUE(CanOthersCall(std::chrono::seconds(10)));
}

TEST_F(DesktopBusConnectionTest, AListenerLeavesItsSignalsToTheNextRunWhileACallIsUnderWay)
{
    ASSERT_TRUE(connection.Open());
    rauc.SetAnswer("Operation", Answer::Late(std::chrono::seconds(2)));
    auto call = std::async(std::launch::async, [this] { return CallOnce(); });
    ASSERT_TRUE(rauc.WaitForCalls("Get"));
    const auto start = std::chrono::steady_clock::now();
    connection.ReadSignals();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(call.get());
    rauc.EmitCompleted(1);
    EXPECT_TRUE(received.WaitFor("Completed 1"));
}

TEST_F(DesktopBusConnectionTest, NoReplyOf100000CallsIsLostToAListenerThatRunsEveryMillisecond)
{
    ASSERT_TRUE(connection.Open());
    // Counting what is lost needs no log, which would take most of the time.
    const Tests::Support::RecordingLog quiet(LogLevel::Error);
    constexpr int Calls = 100'000;
    std::atomic<bool> isEnding = false;
    std::atomic<int> runs = 0;
    std::thread listener(
        [&]
        {
            while (!isEnding)
            {
                connection.ReadSignals();
                ++runs;
                std::this_thread::sleep_for(milliseconds(1));
            }
        });
    int replies = 0;
    // A lost reply costs libdbus's timeout: the first one is enough.
    for (bool isLost = false; !isLost && replies < Calls;)
    {
        isLost = !connection.GetReply(connection.SendMessageWithReplyAsync(GetPrimary())).IsMethodReply();
        replies += isLost ? 0 : 1;
    }
    isEnding = true;
    listener.join();
    EXPECT_EQ(replies, Calls);
    EXPECT_GT(runs, 1000);
    EXPECT_EQ(GetErrors(), Lines());
}

TEST_F(DesktopBusConnectionTest, TheBusAnswersToMatchRulesAreNotLostToAHotListener)
{
    ASSERT_TRUE(connection.Open());
    std::atomic<bool> isEnding = false;
    std::thread listener(
        [&]
        {
            while (!isEnding)
            {
                connection.ReadSignals();
            }
        });
    bool isAnswered = true;
    for (int change = 0; isAnswered && change < 500; ++change)
    {
        isAnswered = connection.ListenForSignal("a.b") && connection.UnlistenForSignal("a.b");
    }
    isEnding = true;
    listener.join();
    EXPECT_TRUE(isAnswered);
}

TEST_F(DesktopBusConnectionTest, FourCallersAndAHotListenerLoseNoReplyAndNoSignal)
{
    ASSERT_TRUE(connection.Open());
    const Tests::Support::RecordingLog quiet(LogLevel::Error);
    constexpr int Calls = 2'000;
    std::atomic<int> replies = 0;
    std::atomic<int> callers = 4;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int caller = 0; caller < 4; ++caller)
    {
        threads.emplace_back(
            [&]
            {
                for (int call = 0; call < Calls; ++call)
                {
                    const auto pending = connection.SendMessageWithReplyAsync(GetPrimary());
                    replies += connection.GetReply(pending).IsMethodReply() ? 1 : 0;
                }
                --callers;
            });
    }
    int emitted = 0;
    while (callers > 0)
    {
        if (emitted < 1000)
        {
            rauc.EmitProgress(emitted++, "x", 1);
        }
        connection.ReadSignals();
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    rauc.EmitCompleted(0);
    EXPECT_TRUE(received.WaitFor("Completed 0"));
    EXPECT_EQ(replies, 4 * Calls);
    EXPECT_EQ(received.GetLines().size(), static_cast<std::size_t>(emitted) + 1);
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

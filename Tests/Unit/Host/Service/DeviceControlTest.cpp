#include "Service/DeviceControl.h"

#include "Support/RecordingLogSink.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-event.h>

#include <csignal>

namespace Zel::Host::Service
{

using testing::HasSubstr;
using Tests::Support::RecordingLog;
using Tests::Support::TemporaryFolder;

namespace
{

class DeviceControlTest : public testing::Test
{
protected:
    void SetUp() override { EventLoop::BlockSignals(); }

    void TearDown() override
    {
        sigset_t none;
        sigemptyset(&none);
        pthread_sigmask(SIG_SETMASK, &none, nullptr);
    }

    /// Orders a restart by the command, and runs the loop until `ended` says so.
    void Restart(const std::vector<String>& command, const std::function<bool()>& ended)
    {
        DeviceControl control(loop, command,
                              {[this] { ordered = true; }, [this](const String& reason) { failure = reason; },
                               [this] { askedLogind = true; }});
        control.RestartDevice();
        constexpr std::uint64_t Step = 10000; // microseconds
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!ended() && std::chrono::steady_clock::now() < deadline)
        {
            sd_event_run(loop.Get(), Step);
        }
        EXPECT_TRUE(ended());
    }

    EventLoop loop;
    bool askedLogind = false;
    bool ordered = false;
    String failure;
};

} // namespace

TEST_F(DeviceControlTest, TheCommandRunsInASessionOfItsOwnWithDefaultSignals)
{
    const TemporaryFolder folder;
    const String output = folder / "output";
    const String script =
        "test \"$(ps -o sid= -p $$ | tr -d ' ')\" = $$ && grep SigBlk /proc/self/status > \"$1.new\" "
        "&& mv \"$1.new\" \"$1\"";
    Restart({"sh", "-c", script, "sh", output},
            [&] { return folder.GetNames() == std::vector<String>{"output"}; });
    EXPECT_THAT(TemporaryFolder::Read(output), HasSubstr("0000000000000000"));
    EXPECT_TRUE(ordered);
    EXPECT_FALSE(askedLogind);
}

TEST_F(DeviceControlTest, ACommandThatFailsIsReported)
{
    struct Row
    {
        std::vector<String> command;
        const char* reason;
    };

    const std::vector<Row> rows = {
        {{"sh", "-c", "exit 3"}, "'sh' ended with exit code 3."},
        {{"sh", "-c", "kill -9 $$"}, "'sh' was ended by signal 9."},
        {{"/nowhere/reboot"}, "Failed to start '/nowhere/reboot': No such file or directory"}};
    for (const Row& row : rows)
    {
        const RecordingLog log;
        failure.clear();
        Restart(row.command, [this] { return !failure.empty(); });
        EXPECT_EQ(failure, row.reason);
        EXPECT_THAT(
            log->GetLines(System::Commons::Diagnostics::Logging::LogLevel::Error),
            testing::ElementsAre("error DeviceControl: The device could not be restarted. " + failure));
    }
}

TEST_F(DeviceControlTest, ACommandThatCannotBeExecutedIsAnObstacle)
{
    const auto find = [this](const std::vector<String>& command)
    { return DeviceControl(loop, command, {}).FindObstacle(); };
    EXPECT_EQ(find({"sh", "-c", "true"}), "");
    EXPECT_EQ(find({"/bin/sh"}), "");
    EXPECT_EQ(find({}), "");
    EXPECT_EQ(find({"no-such-program"}),
              "The restart command 'no-such-program' cannot be executed. Mend the settings.");
    EXPECT_NE(find({"/etc/passwd"}), "");
}

TEST_F(DeviceControlTest, WithoutACommandLogindIsAsked)
{
    Restart({}, [this] { return askedLogind; });
    EXPECT_EQ(failure, "");
}

} // namespace Zel::Host::Service

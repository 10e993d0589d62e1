#include "Service/DeviceControl.h"

#include "Support/ComponentFixture.h"
#include "Support/RecordingLog.h"

#include <csignal>

namespace Zel::Host::Service
{

using namespace testing;

struct DeviceControlTest : Test, LoopRunner
{
    DeviceControlTest() { EventLoop::BlockSignals(); }

    ~DeviceControlTest() override
    {
        const sigset_t none{};
        pthread_sigmask(SIG_SETMASK, &none, nullptr);
    }

    /// Orders a restart by the command, and runs the loop until `ended` says so.
    void Restart(const std::vector<String>& command, const std::function<bool()>& ended)
    {
        DeviceControl control(loop, command,
                              {[this] { ordered = true; }, [this](const String& reason) { failure = reason; },
                               [this] { askedLogind = true; }});
        control.RestartDevice();
        EXPECT_TRUE(RunUntil(ended));
    }

    bool askedLogind = false;
    bool ordered = false;
    String failure;
};

TEST_F(DeviceControlTest, TheCommandRunsInASessionOfItsOwnWithDefaultSignals)
{
    const String script = "test \"$(ps -o sid= -p $$ | tr -d ' ')\" = $$ && grep SigBlk /proc/self/status > "
                          "\"$1.new\" && mv \"$1.new\" \"$1\"";
    Restart({"sh", "-c", script, "sh", folder / "output"},
            [&] { return folder.GetNames() == std::vector<String>{"output"}; });
    EXPECT_THAT(folder.Read(folder / "output"), HasSubstr("0000000000000000"));
    EXPECT_TRUE(ordered && !askedLogind);
}

TEST_F(DeviceControlTest, ACommandThatFailsIsReportedAndWithoutOneLogindIsAsked)
{
    const std::vector<std::pair<std::vector<String>, String>> rows = {
        {{"sh", "-c", "exit 3"}, "'sh' ended with exit code 3."},
        {{"sh", "-c", "kill -9 $$"}, "'sh' was ended by signal 9."},
        {{"/nowhere/reboot"}, "Failed to start '/nowhere/reboot': No such file or directory"}};
    for (const auto& [command, reason] : rows)
    {
        const Tests::Support::RecordingLog log;
        failure.clear();
        Restart(command, [this] { return !failure.empty(); });
        EXPECT_EQ(failure, reason);
        EXPECT_THAT(log.GetLines(System::Commons::Diagnostics::Logging::LogLevel::Error),
                    ElementsAre("error DeviceControl: The device could not be restarted. " + reason));
    }
    Restart({}, [this] { return askedLogind; });
}

TEST_F(DeviceControlTest, ACommandThatCannotBeExecutedIsAnObstacle)
{
    const auto find = [this](const std::vector<String>& command)
    { return DeviceControl(loop, command, {}).FindObstacle(); };
    EXPECT_EQ(find({"sh", "-c", "true"}) + find({"/bin/sh"}) + find({}), "");
    EXPECT_EQ(find({"no-such-program"}),
              "The restart command 'no-such-program' cannot be executed. Mend the settings.");
    EXPECT_NE(find({"/etc/passwd"}), "");
}

} // namespace Zel::Host::Service

#include "Support/PrivateBus.h"
#include "Support/ProgramRun.h"
#include "Support/ScriptedUpdateService.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Zel::Tests
{

namespace
{

using nlohmann::json;
using Support::PrivateBus;
using Support::ProgramRun;
using Support::ScriptedUpdateService;
using Support::TemporaryFolder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using State = ScriptedUpdateService::ComponentState;

const String Program = ZEL_UPDATE_PROGRAM;
const String Reboot = "The device is going to reboot.";

/// Runs the real program as a child against a scripted service on the process's private bus.
class ZelUpdateTest : public testing::Test
{
protected:
    ZelUpdateTest()
    {
        service.state.currentVersion = "1.0.0.0";
        service.state.pendingVersion = "1.1.0.0";
        service.state.lastVerdict = {"succeeded", "1.0.0.0", "", 1'795'244'400'000'000};
    }

    static std::vector<String> Call(std::vector<String> arguments)
    {
        arguments.insert(arguments.begin(), Program);
        return arguments;
    }

    void Finish(ProgramRun& run)
    {
        run.Finish([this] { return service.GetPollDescriptor(); }, [this] { service.Serve(); });
    }

    /// Announces an installation's state, message and progress.
    void Progress(int percent, const String& message)
    {
        service.Change({"State", "Message", "Progress"},
                       [&](State& state)
                       {
                           state.state = State::Installing;
                           state.progressPercent = percent;
                           state.message = state.progressText = message;
                       });
    }

    void Fail(const String& reason)
    {
        service.Change({"State", "Message"},
                       [&](State& state)
                       {
                           state.state = State::Failed;
                           state.message = reason;
                       });
    }

    /// Installs up to the ordered restart as soon as it is asked for, and leaves the bus.
    void ScriptGoodInstallation()
    {
        service.On("Install",
                   [this](sd_bus_message& call)
                   {
                       Progress(0, "Installing");
                       service.Reply(call);
                       Progress(46, "Copying image to rootfs.1");
                       Progress(100, "Installing done.");
                       Progress(100, Reboot);
                       service.Vanish();
                   });
    }

    PrivateBus& bus = PrivateBus::OfProcess();
    ScriptedUpdateService service;
};

/// Returns the content behind the descriptor of a call's first argument.
String ReadDescriptor(sd_bus_message& call)
{
    int descriptor = -1;
    String content(100, '\0');
    EXPECT_GE(sd_bus_message_read(&call, "h", &descriptor), 0);
    const ssize_t count = pread(descriptor, content.data(), content.size(), 0);
    EXPECT_GE(count, 0);
    content.resize(static_cast<std::size_t>(count));
    return content;
}

/// What an Install call asks for.
struct InstallOptions
{
    String version = "not read";
    bool fallback = false;
    std::uint64_t delay = 0;
};

InstallOptions ReadInstall(sd_bus_message& call)
{
    const char* version = nullptr;
    EXPECT_GT(sd_bus_message_read(&call, "s", &version), 0);
    InstallOptions options;
    options.version = version;
    EXPECT_GT(sd_bus_message_enter_container(&call, 'a', "{sv}"), 0);
    while (sd_bus_message_enter_container(&call, 'e', "sv") > 0)
    {
        const char* name = nullptr;
        int fallback = 0;
        EXPECT_GT(sd_bus_message_read(&call, "s", &name), 0);
        const bool isDelay = String("delay") == name;
        EXPECT_GT(isDelay ? sd_bus_message_read(&call, "v", "t", &options.delay)
                          : sd_bus_message_read(&call, "v", "b", &fallback),
                  0)
            << name;
        options.fallback = options.fallback || fallback != 0;
        EXPECT_GE(sd_bus_message_exit_container(&call), 0);
    }
    return options;
}

TEST_F(ZelUpdateTest, InstallsABundleUpToTheRestart)
{
    const TemporaryFolder folder;
    String staged;
    InstallOptions options;
    service.On("Stage",
               [&](sd_bus_message& call)
               {
                   staged = ReadDescriptor(call);
                   service.state.pendingVersion = "1.2.0.0";
                   service.ReplyText(call, "1.2.0.0");
               });
    service.On("Install",
               [&](sd_bus_message& call)
               {
                   options = ReadInstall(call);
                   Progress(0, "Installing");
                   service.Reply(call);
                   Progress(46, "Copying image to rootfs.1");
                   Progress(100, "Installing done.");
                   Progress(100, Reboot);
                   service.Vanish();
               });
    ProgramRun run(Call({"install", folder.Write("a.raucb", "a bundle")}));
    Finish(run);

    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
    EXPECT_EQ(run.GetErr(), "");
    EXPECT_EQ(run.GetOut(),
              "Handing over " + folder / "a.raucb" +
                  " ...\nThe bundle is verified: version 1.2.0.0.\nInstalling version 1.2.0.0 ...\n"
                  "  0 % Installing\n 46 % Copying image to rootfs.1\n 99 % Installing done.\n"
                  "100 % The device is going to reboot.\nThe device restarts into version 1.2.0.0.\n"
                  "Next: After the restart 'zelupdate status' tells the verdict.\n");
    EXPECT_EQ(staged, "a bundle");
    EXPECT_EQ(options.version, "");
    EXPECT_FALSE(options.fallback);
    EXPECT_EQ(options.delay, 0U);
    EXPECT_THAT(service.GetCalls(), ElementsAre("Stage", "Install"));
}

TEST_F(ZelUpdateTest, DrawsABarOnATerminalAndNoColourWithNoColor)
{
    ScriptGoodInstallation();
    ProgramRun run(Call({"install"}), ProgramRun::Output::Terminal, {"TERM=xterm", "NO_COLOR=1"});
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0) << run.GetOut();
    EXPECT_THAT(run.GetOut(), HasSubstr("\r[########-----------]  46 % Copying image to rootfs.1\x1B[K"));
    EXPECT_THAT(run.GetOut(),
                HasSubstr("\r[###################] 100 % The device is going to reboot.\x1B[K\r\n"));
    EXPECT_THAT(run.GetOut(), Not(HasSubstr("\x1B[32m")));
}

TEST_F(ZelUpdateTest, JsonOfAnInstallationIsOneObjectAlone)
{
    ScriptGoodInstallation();
    ProgramRun run(Call({"install", "--json"}));
    Finish(run);
    const json object = json::parse(run.GetOut());
    EXPECT_EQ(object.at("outcome"), "restarting");
    EXPECT_EQ(object.at("component"), "Controller 750");
    EXPECT_EQ(object.at("exitCode"), 0);
    EXPECT_EQ(run.GetStatus(), 0);
}

TEST_F(ZelUpdateTest, TheFallbackWaysUnansweredCallIsNoFailure)
{
    InstallOptions options;
    service.On("Install",
               [&](sd_bus_message& call)
               {
                   options = ReadInstall(call);
                   Progress(0, Reboot);
                   service.Vanish();
               });
    ProgramRun run(Call({"install", "--fallback"}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
    EXPECT_TRUE(options.fallback);
    EXPECT_THAT(run.GetOut(), HasSubstr("The device restarts into the fallback version.\n"));
}

TEST_F(ZelUpdateTest, AFailureIsToldWithItsReasonAndTheWayOn)
{
    service.On("Install",
               [this](sd_bus_message& call)
               {
                   Progress(0, "");
                   service.Reply(call);
                   Progress(100, "Installing failed.");
                   service.state.state = State::Failed;
                   service.state.message = "Compatible mismatch: Expected 'A'\x1B[2J";
                   service.Invalidate({"State", "Message"});
               });
    ProgramRun run(Call({"install"}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 1);
    EXPECT_THAT(run.GetOut(), EndsWith(" 99 % Installing failed.\n"));
    EXPECT_EQ(run.GetErr(),
              "zelupdate: the installation of version 1.1.0.0 failed: Compatible mismatch: Expected "
              "'A'\\x1B[2J\nNext: 'zelupdate resume' leaves the failed state; then 'zelupdate install' "
              "can begin again.\n");
}

TEST_F(ZelUpdateTest, ARefusalAfterAFailureNamesResumeAndTouchesNothing)
{
    const TemporaryFolder folder;
    service.state.state = State::Failed;
    service.state.message = "signature verification failed";
    ProgramRun run(Call({"install", folder.Write("a.raucb", "x")}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 5);
    EXPECT_EQ(run.GetOut(), "");
    EXPECT_THAT(run.GetErr(), StartsWith("zelupdate: refused: the last installation has failed: signature"));
    EXPECT_THAT(run.GetErr(), HasSubstr("'zelupdate resume'"));
    EXPECT_THAT(service.GetCalls(), IsEmpty());
}

TEST_F(ZelUpdateTest, AnErrorOfTheServiceBecomesItsExitCodeAndHint)
{
    struct Row
    {
        const char* error;
        int status;
        const char* hint;
    };

    for (const Row& row :
         {Row{"InvalidState", 5, "'zelupdate resume'"}, Row{"Busy", 5, "Call again"},
          Row{"InvalidArgument", 6, "signed bundle"}, Row{"NotFound", 3, "zelupdate versions"},
          Row{"NotAllowed", 10, "as root"}, Row{"OperationFailed", 1, "journalctl"}})
    {
        service.On("Install",
                   [&](sd_bus_message& call) { service.Refuse(call, row.error, "The reason.\n"); });
        ProgramRun run(Call({"install", "--json"}));
        Finish(run);
        EXPECT_EQ(run.GetStatus(), row.status) << row.error;
        EXPECT_THAT(run.GetErr(), StartsWith("zelupdate: The reason.\nNext: "));
        EXPECT_THAT(run.GetErr(), HasSubstr(row.hint));
        EXPECT_EQ(json::parse(run.GetOut()).at("error"), row.error);
        EXPECT_EQ(json::parse(run.GetOut()).at("exitCode"), row.status);
    }
}

TEST_F(ZelUpdateTest, AServiceThatVanishesBeforeTheRestartIsALoss)
{
    service.On("Install",
               [this](sd_bus_message& call)
               {
                   Progress(46, "Copying image to rootfs.1");
                   service.Reply(call);
                   service.Vanish();
               });
    ProgramRun run(Call({"install"}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 7);
    EXPECT_THAT(run.GetErr(),
                HasSubstr("while version 1.1.0.0 was being installed\nNext: 'zelupdate status'"));
}

TEST_F(ZelUpdateTest, WithoutServiceOrBusTheExitCodeIsSeven)
{
    service.Vanish();
    for (const char* const verb : {"status", "versions", "install", "revert", "resume"})
    {
        ProgramRun run(Call({verb}));
        Finish(run);
        EXPECT_EQ(run.GetStatus(), 7) << verb;
        EXPECT_THAT(run.GetErr(), HasSubstr("Next: Start it"));
        EXPECT_EQ(run.GetOut(), "");
    }
    ProgramRun run(Call({"status"}), ProgramRun::Output::Pipes,
                   {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"});
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 7);
    EXPECT_THAT(run.GetErr(), StartsWith("zelupdate: the system bus cannot be reached: "));
}

TEST_F(ZelUpdateTest, AnInterruptLeavesTheUpdateRunningAndSaysSo)
{
    service.On("Install",
               [this](sd_bus_message& call)
               {
                   Progress(46, "Copying image to rootfs.1");
                   service.Reply(call);
               });
    for (const int signalNumber : {SIGINT, SIGTERM})
    {
        service.state.state = State::Idle;
        ProgramRun run(Call({"install"}));
        run.When("Copying image", [&run, signalNumber] { run.Signal(signalNumber); });
        Finish(run);
        EXPECT_EQ(run.GetStatus(), 128 + signalNumber);
        EXPECT_THAT(run.GetErr(),
                    StartsWith("zelupdate: interrupted; the installation goes on without zelupdate\n"));
        EXPECT_THAT(run.GetErr(), HasSubstr("'zelupdate status' shows how it goes"));
    }
    EXPECT_THAT(service.GetCalls(), ElementsAre("Install", "Install"));
}

TEST_F(ZelUpdateTest, AnInterruptBeforeTheInstallationSaysThatNothingWasInstalled)
{
    const TemporaryFolder folder;
    service.On("Stage", [](sd_bus_message& /*call*/) {});
    ProgramRun run(Call({"install", folder.Write("a.raucb", "x")}));
    run.When("Handing over", [&run] { run.Signal(SIGINT); });
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 128 + SIGINT);
    EXPECT_THAT(run.GetErr(), StartsWith("zelupdate: interrupted before anything was installed\n"));
}

TEST_F(ZelUpdateTest, ADelayedInstallationIsAcceptedAndWaitsWithoutTheProgram)
{
    InstallOptions options;
    service.On("Install",
               [&](sd_bus_message& call)
               {
                   options = ReadInstall(call);
                   service.state.state = State::Installing;
                   service.state.nextStart = 1'795'244'490'000'000;
                   service.Reply(call);
               });
    ProgramRun run(Call({"install", "--delay", "90s", "--no-wait"}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0);
    EXPECT_EQ(options.delay, 90'000U);
    EXPECT_THAT(
        run.GetOut(),
        HasSubstr("The installation of version 1.1.0.0 is accepted and waits until 2026-11-21T07:01:30Z.\n"));
    EXPECT_THAT(run.GetOut(), HasSubstr("Next: The installation starts by itself at 2026-11-21T07:01:30Z;"));
}

TEST_F(ZelUpdateTest, SignalsOfAStrangerDoNotEndAnInstallation)
{
    service.On("Install",
               [this](sd_bus_message& call)
               {
                   const String receiver = sd_bus_message_get_sender(&call);
                   Progress(0, "Installing");
                   service.Reply(call);
                   service.Forge(receiver);
                   Progress(50, "genuine");
               });
    ProgramRun run(Call({"install"}));
    run.When("genuine",
             [this]
             {
                 Progress(100, Reboot);
                 service.Vanish();
             });
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
    EXPECT_THAT(run.GetOut(), Not(HasSubstr("forged")));
}

TEST_F(ZelUpdateTest, StatusShowsTheVerdictAndEndsWithZero)
{
    service.state.state = State::Failed;
    service.state.lastVerdict = {"failed", "1.0.0.0",
                                 "The device did not boot the other slot and is still on slot 'A'.",
                                 1'795'244'400'000'000};
    ProgramRun plain(Call({"status"}));
    Finish(plain);
    EXPECT_EQ(plain.GetStatus(), 0);
    EXPECT_THAT(plain.GetOut(),
                HasSubstr("Last verdict:      failed, the device switched back, version 1.0.0.0, "
                          "2026-11-21T07:00:00Z: The device did not boot the other slot"));
    EXPECT_THAT(plain.GetOut(), HasSubstr("\nNext: 'zelupdate resume' leaves the failed state;"));

    ProgramRun versions(Call({"versions", "--json"}));
    Finish(versions);
    const json object = json::parse(versions.GetOut());
    EXPECT_EQ(object.at("versions"),
              json({{"current", "1.0.0.0"}, {"pending", "1.1.0.0"}, {"fallback", nullptr}}));
    EXPECT_FALSE(object.contains("state"));
}

TEST_F(ZelUpdateTest, RevertTellsARestartFromNothingToDo)
{
    struct Row
    {
        ScriptedUpdateService::Handler handler;
        int status;
        const char* text;
    };

    const std::vector<Row> rows = {
        {[this](sd_bus_message& call) { service.Reply(call); }, 0,
         "There is no installation to go back from.\n"},
        {[this](sd_bus_message& call) { service.Refuse(call, "InvalidState", "no"); }, 0,
         "There is no installation"},
        {[this](sd_bus_message& call) { service.Refuse(call, "AlreadyReverted", "Reverted already."); }, 0,
         "Reverted already.\n"},
        {[this](sd_bus_message& call) { service.Refuse(call, "TryLater", "RAUC is busy."); }, 5, ""},
        {[this](sd_bus_message& /*call*/)
         {
             Progress(0, "");
             service.Vanish();
         },
         0, "The device goes back to the version that the last installation started from, and restarts.\n"},
    };
    for (const Row& row : rows)
    {
        service.On("Revert", row.handler);
        ProgramRun run(Call({"revert"}));
        Finish(run);
        EXPECT_EQ(run.GetStatus(), row.status) << run.GetErr();
        EXPECT_THAT(run.GetOut(), StartsWith(row.text));
    }
}

TEST_F(ZelUpdateTest, ResumeLeavesTheFailedStateOnlyWhenThereIsOne)
{
    service.On("Resume",
               [this](sd_bus_message& call)
               {
                   service.state.state = State::Idle;
                   service.Reply(call);
               });
    ProgramRun idle(Call({"resume"}));
    Finish(idle);
    EXPECT_EQ(idle.GetStatus(), 0);
    EXPECT_THAT(idle.GetOut(), HasSubstr("nothing to resume"));
    EXPECT_THAT(service.GetCalls(), IsEmpty());

    service.state.state = State::Failed;
    ProgramRun failed(Call({"resume"}));
    Finish(failed);
    EXPECT_EQ(failed.GetStatus(), 0);
    EXPECT_EQ(failed.GetOut(),
              "The failed state is left.\nNext: 'zelupdate install' installs version 1.1.0.0.\n");
}

TEST(ZelUpdateComponentsTest, TheComponentIsTheOnlyOneOrTheOneThatIsNamed)
{
    static_cast<void>(PrivateBus::OfProcess());
    ScriptedUpdateService service({"Controller 750", "Display/\xC3\xA4"});
    const auto run = [&service](std::vector<String> arguments)
    {
        arguments.insert(arguments.begin(), {Program, "status", "--json"});
        auto result = std::make_unique<ProgramRun>(arguments);
        result->Finish([&service] { return service.GetPollDescriptor(); }, [&service] { service.Serve(); });
        return result;
    };
    const auto unnamed = run({});
    EXPECT_EQ(unnamed->GetStatus(), 2);
    EXPECT_EQ(unnamed->GetErr(), "zelupdate: there are several components: choose one with --component: "
                                 "'Controller 750', 'Display/\xC3\xA4'\n");
    const auto unknown = run({"--component", "Controller"});
    EXPECT_EQ(unknown->GetStatus(), 3);
    EXPECT_THAT(unknown->GetErr(), HasSubstr("The service has 'Controller 750',"));
    EXPECT_EQ(json::parse(run({"--component", "controller 750"})->GetOut()).at("component"),
              "Controller 750");
    EXPECT_EQ(json::parse(run({"--component", "DISPLAY/\xC3\xA4"})->GetOut()).at("component"),
              "Display/\xC3\xA4");
}

} // namespace

} // namespace Zel::Tests

#include "Bus/Host/Cli/ZelUpdateFixture.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <csignal>

namespace Zel::Tests::Bus
{

namespace
{

using nlohmann::json;
using Support::ProgramRun;
using Support::TemporaryFolder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class InstallTroubleTest : public ZelUpdateFixture
{
};

TEST_F(InstallTroubleTest, AFailureIsToldWithItsReasonAndTheWayOn)
{
    service.On("Install",
               [this](sd_bus_message& call)
               {
                   Progress(0, "");
                   service.Reply(call);
                   Progress(100, "Installing failed.");
               });
    ProgramRun run(Call({"install"}));
    run.When("Installing failed.",
             [this]
             {
                 service.Serve(); // what it has asked for so far
                 service.state.state = State::Failed;
                 service.state.message = "Compatible mismatch: Expected 'A'\x1B[2J";
                 service.Invalidate({"State", "Message"});
             });
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 1);
    EXPECT_THAT(run.GetOut(), EndsWith(" 99 % Installing failed.\n"));
    EXPECT_EQ(run.GetErr(),
              "zelupdate: the installation of version 1.1.0.0 failed: Compatible mismatch: Expected "
              "'A'\\x1B[2J\nNext: 'zelupdate resume' leaves the failed state; then 'zelupdate install' "
              "can begin again.\n");
}

TEST_F(InstallTroubleTest, ARefusalAfterAFailureNamesResumeAndTouchesNothing)
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

TEST_F(InstallTroubleTest, AnErrorOfTheServiceBecomesItsExitCodeAndHint)
{
    struct Row
    {
        const char* error;
        int status;
        const char* hint;
    };

    for (const Row& row :
         {Row{"InvalidState", 5, "'zelupdate resume'"}, Row{"Busy", 5, "Call again"},
          Row{"InvalidArgument", 6, "Nothing was changed"}, Row{"NotFound", 3, "zelupdate versions"},
          Row{"OperationFailed", 1, "journalctl"}})
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

TEST_F(InstallTroubleTest, AServiceThatVanishesBeforeTheRestartIsALoss)
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

TEST_F(InstallTroubleTest, AnInterruptLeavesTheUpdateRunningAndSaysSo)
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

TEST_F(InstallTroubleTest, AnInterruptBeforeTheInstallationSaysThatNothingWasInstalled)
{
    const TemporaryFolder folder;
    service.On("Stage", [](sd_bus_message& /*call*/) {});
    ProgramRun run(Call({"install", folder.Write("a.raucb", "x")}));
    run.When("Handing over", [&run] { run.Signal(SIGINT); });
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 128 + SIGINT);
    EXPECT_THAT(run.GetErr(), StartsWith("zelupdate: interrupted before anything was installed\n"));
}

TEST_F(InstallTroubleTest, SignalsOfAStrangerDoNotEndAnInstallation)
{
    String receiver;
    service.On("Install",
               [this, &receiver](sd_bus_message& call)
               {
                   receiver = sd_bus_message_get_sender(&call);
                   Progress(0, "");
                   service.Reply(call);
                   Progress(50, "genuine");
               });
    ProgramRun run(Call({"install"}));
    run.When("genuine",
             [this, &receiver]
             {
                 service.Serve(); // what it has asked for so far
                 service.Forge(receiver);
                 Progress(60, "after the forgery");
             });
    run.When("after the forgery",
             [this]
             {
                 Progress(100, Reboot);
                 service.Vanish();
             });
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
}

} // namespace

} // namespace Zel::Tests::Bus

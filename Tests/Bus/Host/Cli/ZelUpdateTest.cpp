#include "Bus/Host/Cli/ZelUpdateFixture.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace Zel::Tests::Bus
{

namespace
{

using nlohmann::json;
using Support::PrivateBus;
using Support::ProgramRun;
using Support::ScriptedUpdateService;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class ZelUpdateTest : public ZelUpdateFixture
{
};

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
        arguments.insert(arguments.begin(), {ZEL_UPDATE_PROGRAM, "status", "--json"});
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

} // namespace Zel::Tests::Bus

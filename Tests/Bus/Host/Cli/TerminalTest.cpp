#include "Bus/Host/Cli/ZelUpdateFixture.h"

#include "Cli/Commands/Verbs.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sstream>

namespace Zel::Tests::Bus
{

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// What the program does while it runs: on a terminal, on signals of the system, on those of the bus.
class TerminalTest : public ZelUpdateFixture
{
protected:
    /// "Copying more" is shown when the program has read what there was before.
    TerminalTest()
    {
        service.On("Install", {Service::Changes(Running(46, "Copying")), Service::Answers(),
                               Service::Then({Service::Changes({{"Message", "Copying more"}})})});
    }

    /// Ends the installation with the restart.
    void Restart()
    {
        service.Change(Running(100, "The device is going to reboot."));
        service.Vanish();
    }
};

TEST_F(TerminalTest, AsksBeforeItInstallsAndDrawsABarWithTheTimeThatIsLeft)
{
    const Json steps = {{1'000'000, "Installing"}, {101'000'000, "Restart ordered"}};
    const Json entry = {{"kind", "install"}, {"result", "succeeded"}, {"steps", steps}};
    service.On("History", {Service::Answers({Json::array({entry})})});
    ProgramRun run(ToCall("install"), ProgramRun::Output::Terminal, {"TERM=xterm", "NO_COLOR=1"});
    run.When("Install version 1.1.0.0 in place of 1.0.0.0 and restart the device? [y/N] ",
             [&run] { run.Type("y\n"); });
    run.When("Copying more", [this] { Restart(); });
    run.Finish();
    EXPECT_EQ(run.GetStatus(), 0) << run.GetOut();
    EXPECT_THAT(run.GetOut(),
                AllOf(HasSubstr("\r[########-----------]  46 % 0:0"), HasSubstr(", ~1:"),
                      HasSubstr("\r[###################] 100 % 0:0"), Not(HasSubstr("\x1B[32m"))));
}

TEST_F(TerminalTest, WithoutAYesNothingIsChanged)
{
    for (const auto& [keys, status] :
         std::map<String, int>{{"\n", 1}, {"no\n", 1}, {"\x04", 1}, {"\x03", 130}})
    {
        for (const char* const verb : {"install", "revert"})
        {
            ProgramRun run(ToCall(verb), ProgramRun::Output::Terminal, {"TERM=xterm"});
            run.When("[y/N]", [&run, &typed = keys] { run.Type(typed); });
            run.Finish();
            EXPECT_EQ(run.GetStatus(), status) << run.GetOut();
        }
    }
    EXPECT_THAT(service.TakeCalls(), IsEmpty());
}

TEST_F(TerminalTest, AnInterruptLeavesTheUpdateRunningAndSaysSo)
{
    for (const int signalNumber : {SIGINT, SIGTERM})
    {
        service.Change({{"State", "idle"}});
        ProgramRun run(ToCall("install"));
        run.When("Copying more", [&run, signalNumber] { run.Signal(signalNumber); });
        run.Finish();
        EXPECT_EQ(run.GetStatus(), 128 + signalNumber);
        EXPECT_EQ(
            run.GetErr(),
            "zelupdate: interrupted; the installation goes on without zelupdate\nNext: The installation "
            "goes on by itself and ends with a restart; 'zelupdate status' shows how it goes.\n");
    }
    // The device's own shutdown ends the program as well.
    service.Change({{"State", "idle"}});
    ProgramRun last(ToCall("install"));
    last.When("Copying more", [this] { service.Change(Running(100, "The device is going to reboot.")); });
    last.When("going to reboot", [&last] { last.Signal(SIGTERM); });
    last.Finish();
    EXPECT_EQ(last.GetStatus(), 0) << last.GetErr();

    service.Change({{"State", "idle"}});
    service.On("Stage", {});
    ProgramRun run(ToCall("install FILE"));
    run.When("Handing over", [&run] { run.Signal(SIGINT); });
    run.Finish();
    EXPECT_THAT(run.GetErr(), StartsWith("zelupdate: interrupted before anything was installed\n"));
}

TEST_F(TerminalTest, SignalsOfAStrangerDoNotEndAnInstallation)
{
    ProgramRun run(ToCall("install"));
    run.When("Copying more",
             [this]
             {
                 service.Forge({{"State", "failed"}, {"Message", "forged"}});
                 service.Change({{"Message", "after the forgery"}}, true);
             });
    run.When("after the forgery", [this] { Restart(); });
    run.Finish();
    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
    EXPECT_THAT(run.GetOut(), Not(HasSubstr("forged")));
}

TEST_F(TerminalTest, AnInstallationAtATimeIsAskedForWithWhatIsLeftUntilThen)
{
    ProgramRun run(ToCall("install --no-wait --at 23:59"));
    run.Finish();
    EXPECT_THAT(service.TakeCalls(),
                ElementsAre(AllOf(StartsWith("Install 1.1.0.0 [{delay="), EndsWith("}]"))));
}

TEST_F(TerminalTest, AWatchShowsEachChangeAcrossTheServicesRestart)
{
    for (const char* const call : {"status --watch", "status --watch --json"})
    {
        service.Change({{"Message", ""}});
        ProgramRun run(ToCall(call));
        run.When("Controller 750", [this] { service.Change({{"Message", "one"}, {"Revertible", true}}); });
        run.When("one", [this] { service.Vanish(); });
        run.When("has gone",
                 [this]
                 {
                     service.Change({{"Message", "two"}, {"Revertible", false}});
                     service.Appear();
                 });
        run.When("two", [&run] { run.Signal(SIGINT); });
        run.Finish();
        EXPECT_EQ(run.GetStatus(), 130);
        const bool json = run.GetOut().starts_with("{");
        EXPECT_THAT(run.GetOut(),
                    AllOf(HasSubstr(json ? "\"message\":\"one\"" : "Z; Message: one; Revertible: yes\n"),
                          HasSubstr(json ? "\"message\":\"two\"" : "Message:           two\n")));
        std::istringstream lines(json ? run.GetOut() : "");
        for (String line; std::getline(lines, line);)
        {
            EXPECT_EQ(Json::parse(line).at("command"), "status");
        }
    }
}

TEST_F(TerminalTest, WithoutServiceOrBusTheExitCodeIsSeven)
{
    service.Vanish();
    const std::map<String, String> inputs = {
        {"inspect", "FILE"}, {"check", "FILE"}, {"stage", "FILE"}, {"explain", "7"}};
    for (const Host::Cli::Verb& verb : Host::Cli::GetVerbs())
    {
        const String name = verb.name;
        const bool waits = name == "wait";
        const String call = name + " " +
                            (waits                   ? "--timeout=0"
                             : inputs.contains(name) ? inputs.at(name)
                                                     : "");
        for (const char* const variable : {"ANY=1", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"})
        {
            ProgramRun run(ToCall(call), ProgramRun::Output::Pipes, {variable});
            run.Finish();
            const int absent = waits && variable == String("ANY=1") ? 9 : 7;
            EXPECT_EQ(run.GetStatus(), name == "explain" ? 0 : absent) << call << ", " << variable;
        }
    }
}

TEST_F(TerminalTest, TheComponentIsTheOnlyOneOrTheOneThatIsNamed)
{
    service.SetIds({"Controller_750", "Display/\xC3\xA4"});
    const std::map<String, std::pair<int, String>> rows = {
        {"status", {2, "choose one with --component: 'Controller_750', 'Display/\xC3\xA4'\n"}},
        {"status --component Controller", {3, "The service has 'Controller_750',"}},
        {"status --component controller_750", {0, "Component:         Controller_750\n"}},
        {"components --component DISPLAY/\xC3\xA4", {0, "\nDisplay/\xC3\xA4"}},
        {"components", {0, "\nController_750"}}};
    for (const auto& [call, ending] : rows)
    {
        ProgramRun run(ToCall(call));
        run.Finish();
        EXPECT_EQ(run.GetStatus(), ending.first) << call;
        EXPECT_THAT(run.GetOut() + run.GetErr(), HasSubstr(ending.second));
    }
}

} // namespace

} // namespace Zel::Tests::Bus

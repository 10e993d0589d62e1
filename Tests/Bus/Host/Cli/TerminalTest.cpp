#include "Bus/Host/Cli/ZelUpdateFixture.h"

#include "Cli/Commands/Verbs.h"

#include <csignal>

namespace Zel::Tests::Bus
{

using namespace testing;

/// What the program does while it runs: on a terminal, on signals of the system, on those of the bus.
struct TerminalTest : ZelUpdateFixture
{
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
        service.SetPresent(false);
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
    EXPECT_EQ(run.Finish(), 0) << run.GetOut();
    EXPECT_THAT(run.GetOut(),
                AllOf(HasSubstr("\r[########-----------]  46 % 0:0"), HasSubstr(", ~1:"),
                      HasSubstr("\r[###################] 100 % 0:0"), Not(HasSubstr("\x1B[32m"))));
}

TEST_F(TerminalTest, WithoutAYesNothingIsChanged)
{
    for (const auto& [keys, status] : {std::pair{"\n", 1}, {"no\n", 1}, {"\x04", 1}, {"\x03", 130}})
    {
        for (const char* const verb : {"install", "revert"})
        {
            ProgramRun run(ToCall(verb), ProgramRun::Output::Terminal, {"TERM=xterm"});
            run.When("[y/N]", [&run, &typed = keys] { run.Type(typed); });
            EXPECT_EQ(run.Finish(), status) << run.GetOut();
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
        EXPECT_EQ(run.Finish(), 128 + signalNumber);
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
    EXPECT_EQ(last.Finish(), 0) << last.GetErr();

    service.Change({{"State", "idle"}});
    service.On("Stage", {});
    ProgramRun early(ToCall("install FILE"));
    early.When("Handing over", [&early] { early.Signal(SIGINT); });
    EXPECT_EQ(early.Finish(), 130);
    EXPECT_THAT(early.GetErr(), StartsWith("zelupdate: interrupted before anything was installed\n"));
}

TEST_F(TerminalTest, SignalsOfAStrangerDoNotEndAnInstallation)
{
    ProgramRun run(ToCall("install"));
    const auto forge = [this]
    {
        service.Forge({{"State", "failed"}, {"Message", "forged"}});
        service.Change({{"Message", "after the forgery"}}, true);
    };
    run.When("Copying more", forge);
    run.When("after the forgery", [this] { Restart(); });
    EXPECT_EQ(run.Finish(), 0) << run.GetErr();
    EXPECT_THAT(run.GetOut(), Not(HasSubstr("forged")));
}

TEST_F(TerminalTest, AnInstallationAtATimeIsAskedForWithWhatIsLeftUntilThen)
{
    EXPECT_EQ(ProgramRun(ToCall("install --no-wait --at 23:59")).Finish(), 0);
    EXPECT_THAT(service.TakeCalls(),
                ElementsAre(AllOf(StartsWith("Install 1.1.0.0 [{delay="), EndsWith("}]"))));
}

TEST_F(TerminalTest, AWatchShowsEachChangeAcrossTheServicesRestart)
{
    for (const bool json : {false, true})
    {
        service.Change({{"Message", ""}});
        ProgramRun run(ToCall(json ? "status --watch --json" : "status --watch"));
        run.When("Controller 750", [this] { service.Change({{"Message", "first"}, {"Revertible", true}}); });
        run.When("first", [this] { service.SetPresent(false); });
        run.When("has gone", [this] { service.Appear({{"Message", "second"}, {"Revertible", false}}); });
        run.When("second", [&run] { run.Signal(SIGINT); });
        EXPECT_EQ(run.Finish(), 130);
        EXPECT_THAT(run.GetOut(),
                    AllOf(HasSubstr(json ? "\"message\":\"first\"" : "Z; Message: first; Revertible: yes\n"),
                          HasSubstr(json ? "\"message\":\"second\"" : "Message:           second\n")));
        std::istringstream lines(json ? run.GetOut() : "");
        for (String line; std::getline(lines, line);)
        {
            EXPECT_EQ(Json::parse(line).at("command"), "status");
        }
    }
}

TEST_F(TerminalTest, WithoutServiceOrBusTheExitCodeIsSeven)
{
    service.SetPresent(false);
    const std::map<String, String> inputs = {{"inspect", " FILE"},
                                             {"check", " FILE"},
                                             {"stage", " FILE"},
                                             {"explain", " 7"},
                                             {"wait", " --timeout=0"}};
    for (const Host::Cli::Verb& verb : Host::Cli::GetVerbs())
    {
        const String name = verb.name;
        const String call = name + (inputs.contains(name) ? inputs.at(name) : "");
        for (const char* const variable : {"ANY=1", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"})
        {
            ProgramRun run(ToCall(call), ProgramRun::Output::Pipes, {variable});
            const int absent = name == "wait" && variable == String("ANY=1") ? 9 : 7;
            EXPECT_EQ(run.Finish(), name == "explain" ? 0 : absent) << call << ", " << variable;
        }
    }
}

TEST_F(TerminalTest, TheComponentIsTheOnlyOneOrTheOneThatIsNamed)
{
    service.SetIds({"Controller_750", "Display/\xC3\xA4"});
    const std::vector<std::tuple<String, int, String>> rows = {
        {"status", 2, "choose one with --component: 'Controller_750', 'Display/\xC3\xA4'\n"},
        {"status --component Controller", 3, "The service has 'Controller_750',"},
        {"status --component controller_750", 0, "Component:         Controller_750\n"},
        {"components --component DISPLAY/\xC3\xA4", 0, "\nDisplay/\xC3\xA4"},
        {"components", 0, "\nController_750"}};
    for (const auto& [call, status, text] : rows)
    {
        ProgramRun run(ToCall(call));
        EXPECT_EQ(run.Finish(), status) << call;
        EXPECT_THAT(run.GetOut() + run.GetErr(), HasSubstr(text));
    }
}

} // namespace Zel::Tests::Bus

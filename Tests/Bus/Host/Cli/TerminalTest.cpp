#include "Bus/Host/Device.h"

#include "Cli/Commands/Verbs.h"
#include "Support/TmpfsMount.h"

#include <nlohmann/json.hpp>

namespace Zel::Tests::Bus
{

using namespace testing;

/// What the program does while it runs: on a terminal, on signals of the system, on those of the bus.
struct TerminalTest : Test, Device
{
    /// "Copying more" is shown when the program has read what there was before.
    TerminalTest()
    {
        story = [this] { Tell(46, "Copying more"); };
    }

    static constexpr const char* Properties = "org.freedesktop.DBus.Properties";
    static constexpr const char* Interface = "zel.SoftwareUpdate1.Component";
};

TEST_F(TerminalTest, AsksBeforeItInstallsAndDrawsABarWithTheTimeThatIsLeft)
{
    ASSERT_TRUE(store->Begin(Id, {}));
    Tell(0, "Installing");
    Tell(100, "Restart ordered");
    End(true);
    records.Execute("UPDATE step SET time = key * 100000000");
    auto run = Call("install", ProgramRun::Output::Terminal, {"TERM=xterm", "NO_COLOR=1"});
    run.Await("Install version 1.1.0.0 in place of 1.0.0.0 and restart the device? [y/N] ");
    run.Type("y\n");
    run.Await("Copying more");
    Restart();
    EXPECT_EQ(run.Finish(), 0) << run.GetOut();
    EXPECT_THAT(run.GetOut(),
                AllOf(HasSubstr("\r[########-----------]  46 % 0:0"), HasSubstr(", ~1:"),
                      HasSubstr("\r[###################] 100 % 0:0"), Not(HasSubstr("\x1B[32m"))));
}

TEST_F(TerminalTest, WithoutAYesNothingIsChanged)
{
    // So that there is something to go back from.
    Copy();
    End(true);
    for (const auto& [keys, status] : {std::pair{"\n", 1}, {"no\n", 1}, {"\x04", 1}, {"\x03", 130}})
    {
        for (const char* const verb : {"install", "revert"})
        {
            auto run = Call(verb, ProgramRun::Output::Terminal, {"TERM=xterm"});
            run.Await("[y/N]");
            run.Type(keys);
            EXPECT_EQ(run.Finish(), status) << run.GetOut();
        }
    }
    EXPECT_EQ(GetOrders(), "");
}

TEST_F(TerminalTest, WhatIsRefusedAnywayIsNotAskedAboutAndNotHandedOver)
{
    const auto refuses = [this](const char* call, const char* error, int status)
    {
        refusals =
            error == nullptr ? std::map<String, String>() : std::map<String, String>{{"Install", error}};
        auto run = Call(call, ProgramRun::Output::Terminal, {"TERM=xterm"});
        EXPECT_EQ(run.Finish(), status) << run.GetOut();
        EXPECT_THAT(run.GetOut(), Not(AnyOf(HasSubstr("[y/N]"), HasSubstr("Handing over")))) << call;
    };
    script->SetVersion(FileType::Fallback, "");
    Copy();
    End(true);
    ASSERT_TRUE(RunUntil([this] { return Now().fallbackVersion.empty(); }));
    refuses("install --fallback", "zel.SoftwareUpdate1.Error.NotFound", 3);
    Copy();
    refuses("install --delay 1h", nullptr, 5);
    End(false);
    for (const char* const call : {"install", "install FILE"})
    {
        refuses(call, nullptr, 5);
        refuses(call, SD_BUS_ERROR_ACCESS_DENIED, 10);
    }
    EXPECT_EQ(GetOrders(), "");
}

TEST_F(TerminalTest, AnInterruptLeavesTheUpdateRunningAndSaysSo)
{
    const auto interrupt = [this](const char* call, const char* awaited, int signalNumber)
    {
        auto run = Call(call);
        run.Await(awaited);
        run.Signal(signalNumber);
        EXPECT_EQ(run.Finish(), 128 + signalNumber);
        return run.GetErr();
    };
    const auto copies = story;
    for (const int signalNumber : {SIGINT, SIGTERM})
    {
        EXPECT_EQ(
            interrupt("install", "Copying more", signalNumber),
            "zelupdate: interrupted; the installation goes on without zelupdate\nNext: The installation "
            "goes on by itself and ends with a restart; 'zelupdate status' shows how it goes.\n");
        End(true);
        story = copies;
    }
    // The device's own shutdown ends the program as well.
    auto last = Call("install");
    last.Await("Copying more");
    OrderRestart();
    last.Await("going to reboot");
    last.Signal(SIGTERM);
    EXPECT_EQ(last.Finish(), 0) << last.GetErr();

    End(true);
    refusals["Stage"] = "";
    EXPECT_THAT(interrupt("install FILE", "Handing over", SIGINT),
                StartsWith("zelupdate: interrupted before anything was installed\n"));
    refusals["Install"] = "";
    EXPECT_THAT(interrupt("install", "Installing", SIGINT),
                StartsWith("zelupdate: interrupted before the service answered; the "));
}

TEST_F(TerminalTest, SignalsOfAStrangerDoNotEndAnInstallationAndThoseWithoutValuesAreLookedInto)
{
    auto run = Call("install");
    run.Await("Copying more");
    sd_bus* stranger = nullptr;
    sd_bus_message* signal = nullptr;
    sd_bus_open_system(&stranger);
    sd_bus_message_new_signal(stranger, &signal, path.c_str(), Properties, "PropertiesChanged");
    sd_bus_message_append(signal, "sa{sv}as", Interface, 2, "State", "s", "failed", "Message", "s", "forged",
                          0);
    EXPECT_GE(sd_bus_send_to(stranger, signal, lastCaller.c_str(), nullptr), 0);
    sd_bus_message_unref(signal);
    sd_bus_flush_close_unref(stranger);

    component.GetView().SetChangeHandler({});
    OrderRestart();
    sd_bus_emit_signal(connection->Get(), path.c_str(), Properties, "PropertiesChanged", "sa{sv}as",
                       Interface, 0, 1, "Message");
    run.Await("going to reboot");
    Vanish();
    EXPECT_EQ(run.Finish(), 0) << run.GetErr();
    EXPECT_THAT(run.GetOut(), Not(HasSubstr("forged")));
}

TEST_F(TerminalTest, AWatchShowsEachChangeAcrossTheServicesRestart)
{
    for (const bool json : {false, true})
    {
        Tell(0, "");
        auto run = Call(json ? "status --watch --json" : "status --watch");
        run.Await("Controller 750");
        Tell(7, "first");
        run.Await("first");
        Vanish();
        run.Await("has gone");
        Tell(8, "second");
        Appear();
        run.Await("second");
        run.Signal(SIGINT);
        EXPECT_EQ(run.Finish(), 130);
        EXPECT_THAT(
            run.GetOut(),
            AllOf(HasSubstr(json ? "\"message\":\"first\"" : "Z; Message: first; Progress: 7 %, first\n"),
                  HasSubstr(json ? "\"message\":\"second\"" : "Message:           second\n")));
        std::istringstream lines(json ? run.GetOut() : "");
        for (String line; std::getline(lines, line);)
        {
            EXPECT_EQ(nlohmann::json::parse(line).at("command"), "status");
        }
    }
}

TEST_F(TerminalTest, AClosedStandardInputIsNoBundleAndNoWait)
{
    auto run = Call("stage -", ProgramRun::Output::Pipes, {"sh", "-c", "exec \"$@\" <&-", "sh"});
    EXPECT_EQ(run.Finish(), 1);
    EXPECT_THAT(run.GetErr(), HasSubstr("standard input"));
}

TEST_F(TerminalTest, WithoutServiceOrBusTheExitCodeIsSeven)
{
    Vanish();
    const std::vector<String> calls = {
        "status",  "versions",         "components", "history", "inspect FILE", "check FILE", "stage FILE",
        "install", "wait --timeout=0", "cancel",     "revert",  "resume",       "explain 7"};
    EXPECT_EQ(calls.size(), Host::Cli::GetVerbs().size());
    for (const String& call : calls)
    {
        for (const char* const variable : {"ANY=1", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"})
        {
            auto run = Call(call, ProgramRun::Output::Pipes, {variable});
            const int absent = call.starts_with("wait") && variable == String("ANY=1") ? 9 : 7;
            EXPECT_EQ(run.Finish(), call == "explain 7" ? 0 : absent) << call << ", " << variable;
        }
    }
}

TEST_F(TerminalTest, AFolderThatDoesNotTakeStandardInputIsNamedWithARemedy)
{
    const Support::TmpfsMount full(4096);
    full.Write("filler", String(4096, 'x'));
    const String missing = folder / "missing";
    const String cannotBeKept = "zelupdate: the bundle from standard input cannot be kept: Failed to create "
                                "a file in '" +
                                missing + "': No such file or directory";
    const String noRoom =
        "zelupdate: there is no room in " + full.GetPath() + " for the bundle from standard input";
    for (const auto& [place, status, error] :
         {std::tuple(missing, 1, cannotBeKept), {full.GetPath(), 5, noRoom}})
    {
        auto run = Call("stage -", ProgramRun::Output::Pipes, {"TMPDIR=" + place});
        EXPECT_EQ(run.Finish(), status);
        EXPECT_EQ(run.GetErr(), error + "\nNext: Let TMPDIR name a folder with room, or hand over a file.\n");
    }
}

} // namespace Zel::Tests::Bus

#include "Bus/Host/Cli/ZelUpdateFixture.h"

#include "Cli/Commands/Verbs.h"
#include "Cli/Printable.h"

#include <map>
#include <regex>
#include <set>

namespace Zel::Tests::Bus
{

using namespace testing;

/// What a call meets, and what it causes.
struct World
{
    /// The service's properties besides those of every test.
    nlohmann::json properties = nlohmann::json::object();
    std::map<String, Support::ScriptedUpdateService::Script> scripts = {};
    /// All calls that the service gets, reading properties aside, with "; " between them.
    String calls = {};
    /// Facts of the JSON object.
    nlohmann::json facts = nlohmann::json::object();
};

/// Each call in words and as JSON, with its exit code.
class ZelUpdateTest : public ZelUpdateFixture
{
protected:
    /// Runs a call, given as words, in words and as JSON, and checks that both end with `status` and say the
    /// same. `out` and `err`, behind the program's name, stand in what is written, without spans of time;
    /// where one is empty, nothing is written. Standard input has "a bundle".
    void Check(const String& call, int status, const String& out, const String& err = "",
               const World& world = {});

    /// A service that carries one method out, the calls that it then gets, and facts of the answer.
    static World Does(const String& member, const Script& script, const String& calls,
                      const Json& facts = Json::object())
    {
        return {{}, {{member, script}}, calls, facts};
    }

    static Json Verdict(const String& state, const String& result, const String& reason)
    {
        return {{"State", state}, {"LastVerdict", {result, "1.1.0.0", reason, 1'795'244'460'000'000}}};
    }

    void CheckReading();
    void CheckBundles();
    void CheckInstalling();
    void CheckFailing();
    void CheckChanging();
    void CheckWaiting();

    const String installNext = "\nNext: 'zelupdate install' installs version 1.1.0.0.\n";
    const String resumeNext =
        "\nNext: 'zelupdate resume' leaves the failed state; then 'zelupdate install' can begin again.";
    const String progress =
        "Installing version 1.1.0.0 ...\n  0 % Installing\n 46 % Copying image to rootfs.1\n";
    const Json restarting = {{"State", "installing"}, {"Message", "The device is going to reboot."}};
    const Json waiting = {{"State", "installing"}, {"NextStart", 1'795'244'490'000'000}};
    const Script installBegin = {Service::Changes(Running(0, "Installing")), Service::Answers(),
                                 Service::Changes(Running(46, "Copying image to rootfs.1"))};
    std::set<String> verbs;
    std::set<int> codes;
};

void ZelUpdateTest::Check(const String& call, int status, const String& out, const String& err,
                          const World& world)
{
    SCOPED_TRACE(call + " = " + std::to_string(status));
    verbs.insert(call.substr(0, call.find(' ')));
    codes.insert(status);
    const std::regex unsteady(" \\(\\d+:\\d\\d[^)]*\\)(?=\n)|" + folder.GetPath() + "/");
    std::vector<String> texts;
    for (const char* const form : {"", " --json"})
    {
        Prepare();
        service.Change(world.properties.is_null() ? Json::object() : world.properties);
        for (const auto& [member, script] : world.scripts)
        {
            service.On(member, script);
        }
        ProgramRun run(ToCall(call + form), ProgramRun::Output::Pipes, {}, "a bundle");
        EXPECT_EQ(run.Finish(), status);
        EXPECT_THAT(run.GetErr(), StartsWith(err.empty() ? "" : "zelupdate: " + err + "\n"));
        EXPECT_EQ(run.GetErr().empty(), err.empty());
        std::vector<String> calls = service.TakeCalls();
        std::erase(calls, "History 20"); // for the remaining time
        EXPECT_EQ(Join(calls, "; "), world.calls);
        texts.insert(texts.end(), {run.GetOut(), run.GetErr()});
    }
    EXPECT_THAT(std::regex_replace(texts[0], unsteady, ""), HasSubstr(out));
    EXPECT_EQ(texts[0].empty(), out.empty());
    EXPECT_EQ(texts[1], texts[3]);
    Json object = Json::parse(texts[2]);
    Json expected = object;
    expected.merge_patch(world.facts.is_null() ? Json::object() : world.facts);
    expected["exitCode"] = status;
    EXPECT_EQ(object, expected);
    // Words about the call itself are no facts.
    std::set<String> about = {"/schema", "/command", "/exitCode", "/outcome", "/error", "/component"};
    if (call.ends_with("--quiet") && err.empty())
    {
        about.insert({"/summary", "/next"});
    }
    object = object.flatten();
    for (const auto& [path, fact] : object.items())
    {
        const bool isText = fact.is_string() || fact.is_number();
        const String text = fact.is_string() ? Host::Cli::Printable(fact) : fact.dump();
        EXPECT_TRUE(!isText || about.contains(path) || (texts[0] + texts[1]).find(text) != String::npos)
            << path;
    }
}

void ZelUpdateTest::CheckReading()
{
    const String versions =
        "Running version:   1.0.0.0\nPending version:   1.1.0.0\nFallback version:  none\n"
        "Versions as of:    2026-11-21T07:00:00Z\n";
    Check(
        "status", 0,
        "Component:         Controller 750\nState:             failed\nMessage:           none\n"
        "Progress:          0 %\nStarts at:         none\n" +
            versions +
            "Revertible:        no\nLast verdict:      switched-back (the device runs its earlier "
            "version), version 1.1.0.0, 2026-11-21T07:01:00Z: not confirmed\nBoot:              0e1b2c" +
            resumeNext,
        "",
        {Verdict("failed", "switched-back", "not confirmed"),
         {},
         "",
         R"({"schema":1, "state":"failed", "revertible":false, "lastVerdict":{"switchedBack":true}})"_json});
    Check("versions --quiet", 0, "Component:         Controller 750\n" + versions, "",
          {{}, {}, "", {{"component", "Controller 750"}, {"versions", {{"current", "1.0.0.0"}}}}});
    const Json entry =
        R"({"kind":"install", "caller":"user 0", "from":"1.0.0.0", "to":"1.1.0.0", "slot":"rootfs.0",
        "begun":1795244400000000, "ended":1795244460000000, "steps":[[1795244400000000, "Installing"]],
        "result":"failed", "reason":"no space"})"_json;
    const String row = "\n2026-11-21T07:00:00Z  2026-11-21T07:01:00Z  install  1.0.0.0  1.1.0.0  rootfs.0  "
                       "failed  user 0  no space";
    Check("history 3 --steps", 0,
          row + "\n    Time                  Step\n    2026-11-21T07:00:00Z  Installing" + installNext, "",
          Does("History", {Service::Answers({Json::array({entry})})}, "History 3"));
    Check("history", 0, "Nothing was installed yet.\n", "", {{}, {}, "History 10"});
    Check("components", 0,
          "Service version:   0.1.0\nModules:           RaucUpdater\nComponent       State  Running "
          "version\n"
          "Controller 750  idle   1.0.0.0\nNext: ");
    Check("explain busy", 0,
          "Exit code:         5\nError:             zel.SoftwareUpdate1.Error.Busy\n"
          "Meaning:           another request is under way\nWhat to do:        Call again in a moment;");
    Check("explain 77", 3, "", "there is no exit code or error '77'");
}

void ZelUpdateTest::CheckBundles()
{
    const auto inspects = [](bool fits, const Json& check) -> World
    {
        Json bundle = R"({"version":"1.1.0.0", "compatible":"Controller", "size":4096})"_json;
        bundle.update({{"fits", fits}, {"deviceCompatible", fits ? "Controller" : "Display"}});
        bundle["checks"] = {{"rauc", "pass", ""}, check};
        return Does("Inspect", {Service::Answers({bundle})}, "Inspect a bundle []");
    };
    const Json clock = {"clock", "warn", "It is wrong."};
    const String facts = "Version:           1.1.0.0\nCompatible:        Controller\nThis device:       ";
    Check("inspect FILE", 0,
          facts + "Controller\nFits:              yes\nSize:              4096 bytes\nNext: ", "",
          inspects(true, clock));
    Check("inspect FILE", 6, facts + "Display\nFits:              no\n",
          "the bundle is not trusted, or not for this device", inspects(false, clock));
    const String checks = "Version:           1.1.0.0\nCheck  Result  What to do\nrauc   pass    -\n";
    Check("check -", 0,
          checks + "clock  warn    It is wrong.\nThe bundle could be installed now.\nNext: ", "",
          inspects(true, clock));
    Check("check FILE", 6, "\nsignature  fail    Bad.\n", "the bundle would be rejected",
          inspects(false, {"signature", "fail", "Bad."}));
    Check("check FILE", 5, checks + "space  fail    Make room.\n", "the bundle cannot be installed now",
          inspects(true, {"space", "fail", "Make room."}));
    const auto stages = [](const Service::Step& answer)
    { return Does("Stage", {answer}, "Stage a bundle []"); };
    const String staged =
        " ...\nThe bundle is verified: version 1.1.0.0.\nStaged version:    1.1.0.0" + installNext;
    Check("stage FILE", 0, "Handing over a.raucb" + staged, "", stages(Service::Answers({"1.1.0.0"})));
    Check("stage FILE --quiet", 6, "", "Not signed.",
          stages(Service::Refuses("InvalidArgument", "Not signed.")));
    Check("stage FILE --quiet", 10, "", "No.\nNext: Call as root, or as a user who may update this device.",
          stages(Service::Refuses("org.freedesktop.DBus.Error.AccessDenied", "No.")));
    Check("stage missing", 3, "", "there is no file 'missing'\nNext: Check the path.");
}

void ZelUpdateTest::CheckInstalling()
{
    Script script = installBegin;
    script.insert(script.end(), {Service::Changes(Running(100, "Installing done.")),
                                 Service::Changes(restarting), Service::Vanishes()});
    const String next = "Next: After the restart 'zelupdate status' tells the verdict.\n";
    const String restart = progress +
                           " 99 % Installing done.\n100 % The device is going to reboot.\n"
                           "The device restarts into version 1.1.0.0.\n" +
                           next;
    Check("install FILE", 0, "Handing over a.raucb ...\nThe bundle is verified: version 1.1.0.0.\n" + restart,
          "",
          {{},
           {{"Stage", {Service::Answers({"1.1.0.0"})}}, {"Install", script}},
           "Stage a bundle []; Install 1.1.0.0 []",
           {{"outcome", "restarting"}}});
    Check("install --restart-exit-code", 4, restart, "", Does("Install", script, "Install 1.1.0.0 []"));
    Check("install --fallback", 0, "The device restarts into the fallback version.\n" + next, "",
          Does("Install", {Service::Changes(restarting), Service::Vanishes()}, "Install  [{fallback=true}]"));
    Check(
        "install --delay 90s --no-wait", 0,
        "The installation of version 1.1.0.0 is accepted and waits until 2026-11-21T07:01:30Z.\nNext: ", "",
        Does("Install", {Service::Changes(waiting), Service::Answers()}, "Install 1.1.0.0 [{delay=90000}]"));
}

void ZelUpdateTest::CheckFailing()
{
    const auto installs = [this](const Script& end) -> World
    {
        Script script = installBegin;
        script.insert(script.end(), end.begin(), end.end());
        return Does("Install", script, "Install 1.1.0.0 []");
    };
    const auto says = [](const char* state, const char* message) {
        return Service::Changes({{"State", state}, {"Message", message}});
    };
    Check("install --quiet", 1, "",
          "the installation of version 1.1.0.0 failed: no \\x1B[2Jspace" + resumeNext,
          installs({says("failed", "no \x1B[2Jspace")}));
    Check("install", 8, progress, "the device switched back: not confirmed" + resumeNext,
          installs({says("installing", ""),
                    Service::Changes(Verdict("failed", "switched-back", "not confirmed"))}));
    Check("install", 1, progress, "the installation of version 1.1.0.0 was called off: called off by user 0",
          installs({says("idle", "called off by user 0")}));
    Check("install", 1, progress + "100 % Failed to reboot device. Nobody answers.\n",
          "version 1.1.0.0 is in place, but the device could not be restarted",
          installs({says("installing", "Failed to reboot device. Nobody answers.")}));
    Check("install", 7, progress, "the update service has gone while version 1.1.0.0 was being installed",
          installs({Service::Vanishes()}));
    Check("install FILE", 5, "", "refused: the last installation has failed: no space" + resumeNext,
          {Verdict("failed", "failed", "no space")});
    Check("install", 5, "Installing version 1.1.0.0 ...\n", "Stage runs.",
          Does("Install", {Service::Refuses("Busy", "Stage runs.")}, "Install 1.1.0.0 []",
               {{"error", "Busy"}}));
    Check("install FILE --fallback", 2, "", "FILE and --fallback exclude each other; see 'zelupdate --help'");
}

void ZelUpdateTest::CheckChanging()
{
    const auto carries = [](const String& member, const Script& script, const Json& properties = {}) -> World
    {
        return {properties, {{member, script}}, member};
    };
    const Script toIdle = {Service::Changes({{"State", "idle"}, {"NextStart", 0}}), Service::Answers()};
    Check("cancel", 0, "The installation is called off." + installNext, "",
          carries("Cancel", toIdle, waiting));
    Check("cancel", 0, "No installation waits: there is nothing to call off." + installNext);
    Check("resume", 0, "The failed state is left.", "", carries("Resume", toIdle, {{"State", "failed"}}));
    Check("resume", 0, "The last installation has not failed: there is nothing to resume.");
    const String restart = "The device goes back to the version that the last installation started from, and "
                           "restarts.\nNext: ";
    const Service::Step begun = Service::Changes(Running(0, ""));
    Check("revert", 0, restart, "", carries("Revert", {begun, Service::Vanishes()}));
    Check("revert --restart-exit-code", 4, restart, "", carries("Revert", {begun, Service::Answers()}));
    const String nothing = "There is no installation to go back from.";
    Check("revert", 0, nothing, "", carries("Revert", {Service::Answers()}));
    Check("revert", 0, nothing, "", carries("Revert", {Service::Refuses("InvalidState", "")}));
    Check("revert", 0, "Before.\n", "", carries("Revert", {Service::Refuses("AlreadyReverted", "Before.")}));
}

void ZelUpdateTest::CheckWaiting()
{
    const Script comesBack = {Service::Vanishes(), Service::Appears(Verdict("idle", "succeeded", ""))};
    const Script fails = {Service::Changes(Verdict("failed", "failed", "no space"))};
    Check("wait", 8, "", "the device switched back: not confirmed",
          {Verdict("idle", "switched-back", "not confirmed")});
    Check("wait", 0, "Nothing is being installed, and there is no verdict.", "",
          {{{"LastVerdict", {"", "", "", 0}}}});
    Check("wait --timeout 0", 9, " 46 % Copying\n", "the time to wait is over, and the installation goes on",
          {Running(46, "Copying")});
    Check("wait --timeout 60 --quiet", 0, "", "", {Running(46, "Copying"), {{"GetAll", comesBack}}});
    Check("wait", 1, "", "the installation of version 1.1.0.0 failed: no space" + resumeNext,
          {{{"State", "installing"}}, {{"GetAll", fails}}});
}

TEST_F(ZelUpdateTest, EachCallGivesItsExitCodeAndTheSameFactsInWordsAndAsJson)
{
    CheckReading();
    CheckBundles();
    CheckInstalling();
    CheckFailing();
    CheckChanging();
    CheckWaiting();
    EXPECT_EQ(verbs.size(), Host::Cli::GetVerbs().size());
    EXPECT_EQ(codes, (std::set<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

} // namespace Zel::Tests::Bus

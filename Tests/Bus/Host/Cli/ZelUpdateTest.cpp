#include "Bus/Host/Cli/ZelUpdateFixture.h"

#include "Cli/Commands/Verbs.h"

#include <set>

namespace Zel::Tests::Bus
{

namespace
{

const String InstallNext = "Next: 'zelupdate install' installs version 1.1.0.0.\n";
const String ResumeNext =
    "Next: 'zelupdate resume' leaves the failed state; then 'zelupdate install' can begin again.\n";
const String CallAgain = "Next: Call again in a moment; 'zelupdate status' shows what is going on.\n";

/// Each call in words and as JSON, with its exit code.
class ZelUpdateTest : public ZelUpdateFixture
{
protected:
    void Check(const String& call, int status, const String& out, const String& err = "",
               const World& world = {})
    {
        ZelUpdateFixture::Check(call, status, out, err, world);
        verbs.insert(call.substr(0, call.find(' ')));
        codes.insert(status);
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

    const Script installBegin = {Service::Changes(Running(0, "Installing")), Service::Answers(),
                                 Service::Changes(Running(46, "Copying image to rootfs.1"))};
    std::set<String> verbs;
    std::set<int> codes;
};

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
            "Revertible:        no\n"
            "Last verdict:      switched-back (the device runs its earlier version), version 1.1.0.0, "
            "2026-11-21T07:01:00Z: not confirmed\nBoot:              0e1b2c\n" +
            ResumeNext,
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
    const std::map<String, Script> history = {{"History", {Service::Answers({Json::array({entry})})}}};
    const String table = "Begun                 Ended                 Kind     From     To       Slot      "
                         "Result  By      Reason\n"
                         "2026-11-21T07:00:00Z  2026-11-21T07:01:00Z  install  1.0.0.0  1.1.0.0  rootfs.0  "
                         "failed  user 0  no space\n";
    Check("history", 0, table + InstallNext, "", {{}, history, "History 10"});
    Check("history 3 --steps", 0,
          table + "    Time                  Step\n    2026-11-21T07:00:00Z  Installing\n" + InstallNext, "",
          {{}, history, "History 3"});
    Check("history", 0, "Nothing was installed yet.\n" + InstallNext, "", {{}, {}, "History 10"});
    Check("components", 0,
          "Service version:   0.1.0\nModules:           RaucUpdater\nComponent       State  Running version\n"
          "Controller 750  idle   1.0.0.0\nNext: 'zelupdate status --component ID' shows everything about "
          "one.\n");
    Check("explain busy", 0,
          "Exit code:         5\nError:             zel.SoftwareUpdate1.Error.Busy\n"
          "Meaning:           another request is under way\n"
          "What to do:        Call again in a moment; 'zelupdate status' shows what is going on.\n");
    Check("explain 77", 3, "",
          "zelupdate: there is no exit code or error '77'\nNext: 'zelupdate --help' lists the exit codes; "
          "'zelupdate status --json' shows an error's name as \"error\".\n");
}

void ZelUpdateTest::CheckBundles()
{
    const auto inspects = [](bool fits, const Json& check) -> World
    {
        Json bundle = R"({"version":"1.1.0.0", "compatible":"Controller", "size":4096})"_json;
        bundle.update({{"fits", fits}, {"deviceCompatible", fits ? "Controller" : "Display"}});
        bundle["checks"] = {{"rauc", "pass", ""}, check};
        return {{}, {{"Inspect", {Service::Answers({bundle})}}}, "Inspect a bundle []"};
    };
    const Json clock = {"clock", "warn", "It is wrong."};
    const String facts = "Version:           1.1.0.0\nCompatible:        Controller\nThis device:       ";
    const String size = "Size:              4096 bytes\n";
    const String inspectNext = "Next: 'zelupdate check FILE' shows whether it could be installed now.\n";
    Check("inspect FILE", 0, facts + "Controller\nFits:              yes\n" + size + inspectNext, "",
          inspects(true, clock));
    Check("inspect FILE", 6, facts + "Display\nFits:              no\n" + size,
          "zelupdate: the bundle is not trusted, or not for this device\n" + inspectNext,
          inspects(false, clock));
    const String checks = "Version:           1.1.0.0\nCheck  Result  What to do\nrauc   pass    -\n";
    Check("check -", 0,
          checks + "clock  warn    It is wrong.\nThe bundle could be installed now.\n"
                   "Next: 'zelupdate install FILE' installs it.\n",
          "", inspects(true, clock));
    Check("check FILE", 6,
          "Version:           1.1.0.0\nCheck      Result  What to do\nrauc       pass    -\nsignature  fail  "
          "  Bad.\n",
          "zelupdate: the bundle would be rejected\nNext: Get another bundle.\n",
          inspects(false, {"signature", "fail", "Bad."}));
    Check("check FILE", 5, checks + "space  fail    Make room.\n",
          "zelupdate: the bundle cannot be installed now\nNext: Do what the failed checks say, then check "
          "again.\n",
          inspects(true, {"space", "fail", "Make room."}));
    const String staged =
        "The bundle is verified: version 1.1.0.0.\nStaged version:    1.1.0.0\n" + InstallNext;
    const auto stages = [](const Json& answer) -> World {
        return {{}, {{"Stage", {answer}}}, "Stage a bundle []"};
    };
    Check("stage FILE", 0, "Handing over a.raucb ...\n" + staged, "", stages(Service::Answers({"1.1.0.0"})));
    Check("stage -", 0, "Handing over standard input ...\n" + staged, "",
          stages(Service::Answers({"1.1.0.0"})));
    Check("stage FILE --quiet", 6, "",
          "zelupdate: Not signed.\nNext: Nothing was changed; 'zelupdate versions' shows what is pending.\n",
          stages(Service::Refuses("InvalidArgument", "Not signed.")));
    Check("stage FILE --quiet", 10, "",
          "zelupdate: No.\nNext: Call as root, or as a user who may update this device.\n",
          stages(Service::Refuses("org.freedesktop.DBus.Error.AccessDenied", "No.")));
    Check("stage missing", 3, "", "zelupdate: there is no file 'missing'\nNext: Check the path.\n");
}

const String Lines = "Installing version 1.1.0.0 ...\n  0 % Installing\n 46 % Copying image to rootfs.1\n";
const nlohmann::json Restarting = {{"State", "installing"}, {"Message", "The device is going to reboot."}};

void ZelUpdateTest::CheckInstalling()
{
    Script script = installBegin;
    script.push_back(Service::Changes(Running(100, "Installing done.")));
    script.push_back(Service::Changes(Restarting));
    script.push_back(Service::Vanishes());
    const String next = "Next: After the restart 'zelupdate status' tells the verdict.\n";
    const String restart = Lines +
                           " 99 % Installing done.\n100 % The device is going to reboot.\n"
                           "The device restarts into version 1.1.0.0.\n" +
                           next;
    Check("install FILE", 0, "Handing over a.raucb ...\nThe bundle is verified: version 1.1.0.0.\n" + restart,
          "",
          World{{},
                {{"Stage", {Service::Answers({"1.1.0.0"})}}, {"Install", script}},
                "Stage a bundle []; Install 1.1.0.0 []",
                R"({"outcome":"restarting"})"_json});
    Check("install --restart-exit-code", 4, restart, "", {{}, {{"Install", script}}, "Install 1.1.0.0 []"});
    Check("install --fallback", 0,
          "Installing the fallback version ...\n100 % The device is going to reboot.\n"
          "The device restarts into the fallback version.\n" +
              next,
          "",
          {{},
           {{"Install", {Service::Changes(Restarting), Service::Vanishes()}}},
           "Install  [{fallback=true}]"});
    const Json waiting = {{"State", "installing"}, {"NextStart", 1'795'244'490'000'000}};
    Check("install --delay 90s --no-wait", 0,
          "Installing version 1.1.0.0 ...\nThe installation of version 1.1.0.0 is accepted and waits until "
          "2026-11-21T07:01:30Z.\nNext: The installation starts by itself at 2026-11-21T07:01:30Z; "
          "'zelupdate cancel' calls it off.\n",
          "",
          {{},
           {{"Install", {Service::Changes(waiting), Service::Answers()}}},
           "Install 1.1.0.0 [{delay=90000}]"});
}

void ZelUpdateTest::CheckFailing()
{
    const auto installs = [this](const Script& end) -> World
    {
        Script script = installBegin;
        script.insert(script.end(), end.begin(), end.end());
        return {{}, {{"Install", script}}, "Install 1.1.0.0 []"};
    };
    Check("install --quiet", 1, "",
          "zelupdate: the installation of version 1.1.0.0 failed: no \\x1B[2Jspace\n" + ResumeNext,
          installs({Service::Changes({{"State", "failed"}, {"Message", "no \x1B[2Jspace"}})}));
    Check("install", 8, Lines, "zelupdate: the device switched back: not confirmed\n" + ResumeNext,
          installs({Service::Changes({{"Message", ""}}),
                    Service::Changes(Verdict("failed", "switched-back", "not confirmed"))}));
    Check("install", 1, Lines,
          "zelupdate: the installation of version 1.1.0.0 was called off: called off by user 0\n" +
              InstallNext,
          installs({Service::Changes({{"State", "idle"}, {"Message", "called off by user 0"}})}));
    Check("install", 1, Lines + "100 % Failed to reboot device. Nobody answers.\n",
          "zelupdate: version 1.1.0.0 is in place, but the device could not be restarted\n"
          "Next: Restart the device by hand; after that 'zelupdate status' tells the verdict.\n",
          installs({Service::Changes({{"Message", "Failed to reboot device. Nobody answers."}})}));
    Check("install", 7, Lines,
          "zelupdate: the update service has gone while version 1.1.0.0 was being installed\nNext: "
          "'zelupdate wait' "
          "waits for the service to come back, and tells how the installation stands.\n",
          installs({Service::Vanishes()}));
    Check("install FILE", 5, "",
          "zelupdate: refused: the last installation has failed: no space\n" + ResumeNext,
          {Verdict("failed", "failed", "no space")});
    Check("install", 5, "Installing version 1.1.0.0 ...\n", "zelupdate: Stage runs.\n" + CallAgain,
          {{},
           {{"Install", {Service::Refuses("Busy", "Stage runs.")}}},
           "Install 1.1.0.0 []",
           {{"error", "Busy"}}});
    Check("install FILE --fallback", 2, "",
          "zelupdate: FILE and --fallback exclude each other; see 'zelupdate --help'\n");
}

void ZelUpdateTest::CheckChanging()
{
    const auto carries = [](const String& member, const Script& script, const Json& properties = {}) -> World
    {
        return {properties, {{member, script}}, member};
    };
    const Script toIdle = {Service::Changes({{"State", "idle"}, {"NextStart", 0}}), Service::Answers()};
    Check("cancel", 0, "The installation is called off.\n" + InstallNext, "",
          carries("Cancel", toIdle, {{"State", "installing"}, {"NextStart", 1'795'244'490'000'000}}));
    Check("cancel", 0, "No installation waits: there is nothing to call off.\n" + InstallNext);
    Check("resume", 0, "The failed state is left.\n" + InstallNext, "",
          carries("Resume", toIdle, {{"State", "failed"}}));
    Check("resume", 0, "The last installation has not failed: there is nothing to resume.\n" + InstallNext);
    const String restart = "The device goes back to the version that the last installation started from, and "
                           "restarts.\nNext: After the "
                           "restart 'zelupdate status' tells that the device switched back, and 'zelupdate "
                           "resume' makes it ready for the "
                           "next installation.\n";
    const Json begun = Service::Changes(Running(0, ""));
    Check("revert", 0, restart, "", carries("Revert", {begun, Service::Vanishes()}));
    Check("revert --restart-exit-code", 4, restart, "", carries("Revert", {begun, Service::Answers()}));
    const String nothing = "There is no installation to go back from.\n" + InstallNext;
    Check("revert", 0, nothing, "", carries("Revert", {Service::Answers()}));
    Check("revert", 0, nothing, "", carries("Revert", {Service::Refuses("InvalidState", "")}));
    Check("revert", 0, "Before.\nNext: 'zelupdate versions' shows what can be installed.\n", "",
          carries("Revert", {Service::Refuses("AlreadyReverted", "Before.")}));
}

void ZelUpdateTest::CheckWaiting()
{
    Check("wait", 8, "", "zelupdate: the device switched back: not confirmed\n" + InstallNext,
          {Verdict("idle", "switched-back", "not confirmed")});
    Check("wait", 0, "Nothing is being installed, and there is no verdict.\n" + InstallNext, "",
          {{{"LastVerdict", {"", "", "", 0}}}});
    Check("wait --timeout 0", 9, " 46 % Copying\n",
          "zelupdate: the time to wait is over, and the installation goes on\nNext: 'zelupdate wait' waits "
          "again.\n",
          {Running(46, "Copying")});
    Check("wait --timeout 60 --quiet", 0, "", "",
          {Running(46, "Copying"),
           {{"GetAll", {Service::Vanishes(), Service::Appears(Verdict("idle", "succeeded", ""))}}}});
    Check("wait", 1, "", "zelupdate: the installation of version 1.1.0.0 failed: no space\n" + ResumeNext,
          {{{"State", "installing"}},
           {{"GetAll", {Service::Changes(Verdict("failed", "failed", "no space"))}}}});
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

} // namespace

} // namespace Zel::Tests::Bus

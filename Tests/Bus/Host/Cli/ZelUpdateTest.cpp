#include "Bus/Host/Device.h"

#include "Cli/Printable.h"

#include <nlohmann/json.hpp>

namespace Zel::Tests::Bus
{

using namespace testing;
using Json = nlohmann::json;

namespace
{

using Deed = std::function<void(Device& device)>;

/// What a call meets, and what it causes.
struct World
{
    /// What is done to the device before the call.
    Deed before = [](auto&) {};
    /// What happens once the program has read that an installation goes on, which copies then.
    Deed story = [](auto&) {};
    /// All that the module is asked to change, with "; " between, as a pattern.
    String orders = {};
    /// Facts of the JSON object.
    Json facts = Json::object();
};

const String InstallOrder = "InstallSoftwarePackage 1.1.0.0";
const String StageOrder = "SetSoftwarePackage a bundle";
const String InstallNext = "\nNext: 'zelupdate install' installs version 1.1.0.0.\n";
const String ResumeNext =
    "\nNext: 'zelupdate resume' leaves the failed state; then 'zelupdate install' can begin again.";
const String SwitchedBack =
    "the device switched back after the installation of version 1.1.0.0: not confirmed";
const String Progress = "Installing version 1.1.0.0 ...\n  0 % Installing\n 46 % Copying image\n";

/// Has an installation fail.
const Deed Fails = [](Device& device)
{
    device.Copy();
    device.End(false, "no \x1B[2Jspace");
};

const Deed IsCalledOff = [](Device& device)
{
    device.status->SetMessage(Device::Id, "called off by user 0", true);
    EXPECT_TRUE(device.status->CallOff(Device::Id, ""));
    device.Announce();
};

/// The restart that is ordered does not come.
const Deed Stays = [](Device& device)
{
    device.OrderRestart();
    device.component.OnRestartFailed("Nobody answers.");
    device.Announce();
};

const String ByHand = "the device does not restart: Failed to reboot device. The restart must be triggered "
                      "manually. Nobody answers.\nNext: Restart the device by hand; after that 'zelupdate "
                      "status' tells the verdict.";

const Deed SwitchesBack = [](Device& device)
{
    device.Copy();
    device.status->SetMessage(Device::Id, "", false);
    EXPECT_TRUE(device.store->End(Device::Id, false, Host::Api::Result::SwitchedBack, "not confirmed"));
    device.Reread();
    device.Announce();
};

const Deed LosesAnswer = [](Device& device) { device.losesAnswers = true; };

/// Has what changes something refused.
const Deed Forbids = [](Device& device)
{
    for (const char* const method : {"Stage", "Cancel", "Resume"})
    {
        device.refusals[method] = SD_BUS_ERROR_ACCESS_DENIED;
    }
};

/// Runs a call, given as words, in words and as JSON, and checks that both end with `status` and say the
/// same. `out` and `err`, behind the program's name, stand in what is written, as `Device::ToSteady` leaves
/// it; where one is empty, nothing is written. Standard input has "a bundle".
void Check(const String& call, int status, const String& out, const String& err = "", const World& world = {})
{
    SCOPED_TRACE(call + " = " + std::to_string(status));
    std::vector<String> texts;
    for (const char* const form : {"", " --json"})
    {
        Device device;
        world.before(device);
        device.story = [&]
        {
            device.Copy();
            world.story(device);
        };
        auto run = device.Call(call + form);
        EXPECT_EQ(run.Finish(), status);
        EXPECT_THAT(run.GetErr(), StartsWith(err.empty() ? "" : "zelupdate: " + err + "\n"));
        EXPECT_EQ(run.GetErr().empty(), err.empty());
        EXPECT_THAT(device.GetOrders(), MatchesRegex(world.orders));
        EXPECT_TRUE(device.RunUntil([&device] { return device.IsDeliveryEmpty(); }));
        texts.push_back(device.ToSteady(run.GetOut()));
        texts.push_back(device.ToSteady(run.GetErr()));
    }
    EXPECT_THAT(texts[0], HasSubstr(out));
    EXPECT_EQ(texts[0].empty(), out.empty());
    EXPECT_EQ(texts[1], texts[3]);
    Json object = Json::parse(texts[2]);
    Json expected = object;
    expected.merge_patch(world.facts);
    expected["exitCode"] = status;
    EXPECT_EQ(object, expected);
    // Words about the call itself are no facts.
    std::set<String> about = {"/schema", "/command", "/exitCode", "/outcome", "/error", "/component"};
    if (call.ends_with("--quiet") && err.empty())
    {
        about.insert({"/summary", "/next", "/kind", "/version"});
    }
    const String words = ToLower(texts[0] + texts[1]);
    object = object.flatten();
    for (const auto& [path, fact] : object.items())
    {
        const bool isText = fact.is_string() || fact.is_number();
        const String text = ToLower(fact.is_string() ? Host::Cli::Printable(fact) : fact.dump());
        EXPECT_TRUE(!isText || about.contains(path) || words.find(text) != String::npos) << path;
    }
}

} // namespace

TEST(ZelUpdateTest, WhatReadsShowsTheComponentAndItsPast)
{
    const String versions =
        "Running version:   1.0.0.0\nPending version:   1.1.0.0\nFallback version:  0.9.0.0\n"
        "Versions as of:    NOW\n";
    // Two installations in the past, of which the last one began at 07:00:00 and ended a minute later.
    const auto live = [](Device& device)
    {
        device.Copy();
        device.End(true);
        // The same step again is one of the history.
        device.Copy();
        SwitchesBack(device);
        device.records.Execute("UPDATE history SET begun = 1005807600000000, ended = 1005807660000000;"
                               "UPDATE step SET time = 1005807600000000");
        device.Reread();
        device.Announce();
    };
    Check("status", 0,
          "Component:         Controller 750\nState:             failed\nActivity:          none\n"
          "Message:           none\n"
          "Progress:          46 %, Copying image\nStarts at:         none\n" +
              versions +
              "Revertible:        yes\nLast verdict:      switched-back (the device runs its earlier "
              "version), version 1.1.0.0, 2001-11-15T07:01:00Z: not confirmed\nBoot:              boot" +
              ResumeNext,
          "",
          {.before = live,
           .facts = R"({"schema":1, "state":"failed", "revertible":true, "progress":{"percent":46},
                        "lastVerdict":{"switchedBack":true}})"_json});
    Check("versions --quiet", 0, "Component:         Controller 750\n" + versions, "",
          {.facts = {{"component", "Controller 750"}, {"versions", {{"current", "1.0.0.0"}}}}});
    const Json entry =
        R"({"kind":"install", "caller":"user 0", "from":"1.0.0.0", "to":"1.1.0.0", "slot":"rootfs.0",
        "begun":"2001-11-15T07:00:00Z", "ended":"2001-11-15T07:01:00Z", "result":"switched-back",
        "steps":[{"time":"2001-11-15T07:00:00Z", "what":"Installing"},
                 {"time":"2001-11-15T07:00:00Z", "what":"Copying image"}], "reason":"not confirmed"})"_json;
    Check("history 1 --steps", 0,
          "\n2001-11-15T07:00:00Z  2001-11-15T07:01:00Z  install  1.0.0.0  1.1.0.0  rootfs.0  switched-back  "
          "user 0  not confirmed\n    Time                  Step\n    2001-11-15T07:00:00Z  Installing\n",
          "", {.before = live, .facts = {{"entries", {entry}}}});
    Check("history", 0, "Nothing was installed yet.\n");
    Check("components", 0,
          "Service version:   0.1.0\nModules:           Fake\nComponent       State  Running version\n"
          "Controller 750  idle   1.0.0.0\nNext: ",
          "", {.facts = {{"modules", Json::array({"Fake"})}}});
    Check("status", 7, "", "the service does not run", {.before = &Device::Vanish});
    const auto twice = [](Device& device)
    {
        device.Vanish();
        device.Appear(true);
    };
    Check("components", 0, "\nController 750  idle   1.0.0.0\nDisplay/\u00e4       idle   -\nNext: ", "",
          {.before = twice});
    Check("versions --component DISPLAY/\u00e4", 0,
          "Component:         Display/\u00e4\nRunning version:   unknown\nPending version:   unknown\n", "",
          {.before = twice});
    Check("status", 2, "",
          "there are several components: choose one with --component: 'Controller 750', 'Display/\u00e4'",
          {.before = twice});
    Check("status --component Controller", 3, "",
          "there is no component 'Controller'\nNext: The service has 'Controller 750'.");
    Check("explain busy", 0,
          "Exit code:         5\nError:             zel.SoftwareUpdate1.Error.Busy\n"
          "Meaning:           another request is under way\nWhat to do:        Call again in a moment;");
    Check("explain 77", 3, "", "there is no exit code or error '77'");
}

TEST(ZelUpdateTest, BundlesAreLookedAtAndStaged)
{
    const auto holds = [](const char* compatible, Host::Service::RaucState rauc) -> World
    {
        return {.before = [=](Device& device)
                {
                    device.bundle = Host::Service::RaucBundle{"1.2.0.0", compatible};
                    device.rauc.state = rauc;
                }};
    };
    using enum Host::Service::RaucState;
    const String facts = "Version:           1.2.0.0\nCompatible:        ";
    Check("inspect FILE", 0,
          facts + "Controller\nThis device:       Controller\nFits:              yes\nSize:              8 "
                  "bytes\nNext: ",
          "", holds("Controller", Resting));
    Check("inspect FILE", 6, facts + "Display\nThis device:       Controller\nFits:              no\n",
          "the bundle would be rejected: The bundle is for 'Display', this device is 'Controller'. Use a "
          "bundle for it.\nNext: Get another bundle.",
          holds("Display", Resting));
    Check("inspect FILE", 5,
          "Compatible:        none\nThis device:       Controller\nFits:              unknown\n",
          "RAUC does not tell whether the bundle fits this device\nNext: 'systemctl status rauc' shows "
          "whether it runs; then look again.",
          {.before = [](Device& device) { device.rauc.state = Absent; }});
    Check("check FILE", 6, "\nversion      fail    The version has 600 characters, at most 511 are possible.",
          "the bundle would be rejected: The version has 600 characters, at most 511 are possible. Build the "
          "bundle with a shorter one.",
          {.before = [](Device& device) {
              device.bundle = Host::Service::RaucBundle{String(600, '1'), "Controller"};
          }});
    const String checks = "Version:           1.2.0.0\nCheck        Result  What to do\n";
    Check("check -", 0, checks + "signature    pass    -\ncompatible   pass    -\n", "",
          holds("Controller", Resting));
    Check("check FILE", 6, "\ncompatible   fail    The bundle is for 'Display', this device is 'Controller'.",
          "the bundle would be rejected: The bundle is for 'Display', this device is 'Controller'. Use a "
          "bundle for it.",
          holds("Display", Resting));
    const String busy = "the bundle cannot be installed now: RAUC is busy. Wait until it is done.";
    Check("check FILE", 5, checks, busy, holds("Controller", Busy));
    const auto refuses = [](Device& device)
    {
        device.script->stage = [](auto&, String& message)
        {
            message = "Not signed.";
            return Device::ResultCode::InvalidArgument;
        };
    };
    Check("stage FILE", 0,
          "Handing over FILE ...\nThe bundle is verified: version 1.1.0.0.\nStaged version:    1.1.0.0" +
              InstallNext,
          "", {.orders = StageOrder});
    Check("stage - --quiet", 6, "",
          "Not signed. RAUC takes no bundle that is damaged, or not signed or built for this device; a wrong "
          "clock, or a folder that it does not see, looks the same. 'zelupdate check FILE' tells more.",
          {.before = refuses, .orders = StageOrder});
    Check("stage FILE --quiet", 10, "", "No.\nNext: 'man zel-updated' tells who may do what.",
          {.before = Forbids});
    Check("stage missing", 3, "", "there is no file 'missing'\nNext: Check the path.");
}

TEST(ZelUpdateTest, AnInstallationIsFollowedUntilTheRestart)
{
    const String next = "Next: After the restart 'zelupdate status' tells the verdict.\n";
    const String restart = Progress +
                           " 99 % Installing done.\n100 % The device is going to reboot.\n"
                           "The device restarts into version 1.1.0.0.\n" +
                           next;
    Check("install FILE", 0, "Handing over FILE ...\nThe bundle is verified: version 1.1.0.0.\n" + restart,
          "",
          {.story = &Device::Restart,
           .orders = StageOrder + "; " + InstallOrder,
           .facts = {{"outcome", "restarting"}}});
    Check("install --restart-exit-code", 4, restart, "", {.story = &Device::Restart, .orders = InstallOrder});
    Check("install --fallback", 0, "The device restarts into the fallback version 0.9.0.0.\n" + next, "",
          {.before = LosesAnswer, .orders = "InstallSoftwarePackage 0.9.0.0"});
    Check("install --delay 90s --no-wait", 0,
          "The installation of version 1.1.0.0 is accepted and waits until NOW.\nNext: ", "",
          {.orders = InstallOrder + " in 90000 ms"});
    Check("install --at 23:59 --no-wait", 0,
          "The installation of version 1.1.0.0 is accepted and waits until NOW.", "",
          {.orders = InstallOrder + " in [0-9]+ ms"});
}

TEST(ZelUpdateTest, AnInstallationThatDoesNotGetThereSaysWhy)
{
    const auto installs = [](const Deed& end) -> World { return {.story = end, .orders = InstallOrder}; };
    Check("install --quiet", 1, "",
          "the installation of version 1.1.0.0 failed: no \\x1B[2Jspace" + ResumeNext, installs(Fails));
    Check("install", 8, Progress, SwitchedBack + ResumeNext, installs(SwitchesBack));
    Check("install", 1, Progress, "the installation of version 1.1.0.0 was called off: called off by user 0",
          installs(IsCalledOff));
    Check("install", 1, "Nobody answers.\n", "version 1.1.0.0 is installed, but " + ByHand, installs(Stays));
    Check("install", 7, Progress,
          "the update service has gone during the installation of version 1.1.0.0\nNext: 'zelupdate wait' "
          "waits "
          "for the service to come back, and tells how the installation stands.",
          installs(&Device::Vanish));
    Check("install FILE", 5, "", "refused: the last installation has failed: not confirmed" + ResumeNext,
          {.before = SwitchesBack});
    Check("install", 5, "Installing version 1.1.0.0 ...\n",
          "RAUC is busy. Nothing was changed; try again later.",
          {.before = [](Device& device) { device.rauc.state = Host::Service::RaucState::Busy; },
           .facts = {{"error", "TryLater"}}});
    Check("install FILE --fallback", 2, "", "FILE and --fallback exclude each other; see 'zelupdate --help'");
}

TEST(ZelUpdateTest, CancelResumeAndRevertAreCarriedOutOrNotNeeded)
{
    const auto waits = [](Device& device) { EXPECT_EQ(device.Install({"", false, 60000}), ""); };
    Check("cancel", 0, "The installation of version 1.1.0.0 is called off." + InstallNext, "",
          {.before = waits, .orders = InstallOrder + " in 60000 ms"});
    Check("cancel", 0, "No installation waits: there is nothing to call off." + InstallNext);
    Check("cancel", 10, "", "No.", {.before = Forbids});
    Check("resume", 10, "", "No.", {.before = Forbids});
    Check("resume", 0,
          "Nothing has failed: an installation or a revert is under way.\nNext: The installation starts", "",
          {.before = waits, .orders = InstallOrder + " in 60000 ms"});
    Check("resume", 0,
          "The failed state is left.\nNext: 'zelupdate install FILE' installs another bundle; 'zelupdate "
          "install' "
          "tries version 1.1.0.0 again, which has failed; ",
          "", {.before = Fails});
    Check("resume", 0, "The last installation has not failed: there is nothing to resume.");

    const auto answers = [](Device::ResultCode code) -> World
    {
        return {.before = [=](Device& device) { device.script->revert = [=](auto&) { return code; }; },
                .orders = "RevertInstall"};
    };
    const auto restart = [](const String& version)
    { return "\nThe device goes back to " + version + " and restarts.\nNext: "; };
    const String to = "version 0.9.0.0";
    Check("revert", 0, restart("the earlier version"), "",
          {.before = LosesAnswer, .orders = "RevertInstall"});
    Check("revert --restart-exit-code", 4, restart(to), "",
          {.story = &Device::Restart, .orders = "RevertInstall", .facts = {{"kind", "revert"}}});
    Check("revert", 1, "Reverting to the earlier version ...\n",
          "the revert to " + to + " is prepared, but " + ByHand, {.story = Stays, .orders = "RevertInstall"});
    const String nothing = "There is no installation to go back from.";
    Check("revert", 0, nothing, "", answers(Device::ResultCode::Ok));
    Check("revert", 0, nothing, "", answers(Device::ResultCode::InvalidState));
    Check("revert", 0, "The last installation is reverted already.", "",
          answers(Device::ResultCode::AlreadyReverted));
}

TEST(ZelUpdateTest, WaitEndsWithTheVerdictOrTheTime)
{
    const auto comesBack = [](Device& device)
    {
        device.Vanish();
        device.End(true);
        device.Appear();
    };
    Check("wait", 8, "", SwitchedBack + ResumeNext, {.before = SwitchesBack});
    Check("wait", 0, "Nothing is being installed, and there is no verdict.");
    // An earlier verdict was about another version.
    const auto installsAfterAnother = [](Device& device)
    {
        device.status->SetUpcoming(Device::Id, {"user 0", false, "0.9.0.0", "1.0.0.0", 0});
        EXPECT_EQ(device.script->install(*device.status, "1.0.0.0", 0), Device::ResultCode::Ok);
        device.End(true);
        device.Copy();
    };
    Check("wait", 1, "", "the installation of version 1.1.0.0 was called off: called off by user 0",
          {.before = installsAfterAnother, .story = IsCalledOff});
    const auto reverts = [](Device& device)
    {
        device.status->SetUpcoming(Device::Id, {"user 0", false, "1.1.0.0", "0.7.0.0", 0});
        EXPECT_EQ(device.script->revert(*device.status), Device::ResultCode::Ok);
        device.Announce();
    };
    Check("wait", 1, "", "the revert to version 0.7.0.0 failed: no \\x1B[2Jspace" + ResumeNext,
          {.before = reverts, .story = Fails, .facts = {{"kind", "revert"}, {"version", "0.7.0.0"}}});
    Check("wait", 1, "", "the revert to version 0.7.0.0 is prepared, but " + ByHand,
          {.before = reverts, .story = Stays});
    Check("wait --timeout 0", 9, " 46 % Copying image\n",
          "the time to wait is over, and the installation of version 1.1.0.0 goes on",
          {.before = &Device::Copy});
    const auto hangs = [](Device& device) { device.refusals["GetAll"] = ""; };
    Check("wait --timeout 1", 9, "", "the time to wait is over, and the service does not answer",
          {.before = hangs});
    Check("wait --timeout 60 --quiet", 0, "", "", {.before = &Device::Copy, .story = comesBack});
    Check("wait", 1, "", "the installation of version 1.1.0.0 failed: no \\x1B[2Jspace" + ResumeNext,
          {.before = &Device::Copy, .story = Fails});
}

} // namespace Zel::Tests::Bus

#include "Service/InstallationChecks.h"
#include "Service/RaucWatch.h"
#include "Service/StartGuard.h"

#include <gmock/gmock.h>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using namespace testing;

namespace
{

InspectionFacts GoodFacts()
{
    InspectionFacts facts;
    facts.rauc = RaucState::Resting;
    facts.bundle = RaucBundle{"2.0.0.0", "Controller"};
    facts.deviceCompatible = "Controller";
    facts.slots = {{"rootfs.1", {{"state", "inactive"}, {"class", "rootfs"}, {"boot-status", "bad"}}},
                   {"rootfs.0", {{"state", "booted"}, {"class", "rootfs"}, {"boot-status", "good"}}}};
    facts.runningVersion = "1.0.0.0";
    facts.now = 1'800'000'000'000'000;
    return facts;
}

} // namespace

TEST(InstallationChecksTest, EachObstacleHasItsGradeAndItsRemedy)
{
    using Change = std::function<void(InspectionFacts & facts)>;
    const std::vector<std::tuple<String, String, Change, String>> rows = {
        {"signature", "fail", [](auto& facts) { facts.bundle.reset(), facts.refusal = "rauc info error"; },
         "RAUC refuses the bundle: rauc info error. Use one"},
        {"signature", "warn", [](auto& facts) { facts.bundle.reset(); }, "was not asked"},
        {"compatible", "fail", [](auto& facts) { facts.deviceCompatible = "Other"; },
         "The bundle is for 'Controller', this device is 'Other'."},
        {"compatible", "warn", [](auto& facts) { facts.bundle.reset(); }, "did not tell"},
        {"version", "warn", [](auto& facts) { facts.runningVersion = "2.0.0.0"; }, "is running already"},
        {"version", "warn", [](auto& facts) { facts.pendingVersion = "2.0.0.0"; }, "is pending already"},
        {"version", "warn", [](auto& facts) { facts.runningVersion = "2.0.0.10"; }, "older than the running"},
        {"version", "pass", [](auto& facts) { facts.runningVersion = "10-rc.1"; }, ""},
        {"booted-slot", "warn", [](auto& facts) { facts.primarySlot = "rootfs.1"; },
         "boots the slot 'rootfs.1'"},
        {"version", "fail", [](auto& facts) { facts.bundle->version = String(512, '1'); }, "512 characters"},
        {"version", "pass", [](auto& facts) { facts.bundle->version = String(511, '1'); }, ""},
        {"space", "fail", [](auto& facts) { facts.roomMissing = "Full."; }, "Full. Make room."},
        {"rauc", "fail", [](auto& facts) { facts.rauc = RaucState::Busy; }, "Wait until it is done."},
        {"rauc", "fail", [](auto& facts) { facts.rauc = RaucState::Absent; }, "Start it."},
        {"rauc", "fail", [](auto& facts) { facts.rauc = RaucState::Silent; }, "does not answer"},
        {"booted-slot", "warn", [](auto& facts) { facts.slots[1].texts["boot-status"] = "bad"; },
         "'rootfs.0' is marked bad"},
        {"booted-slot", "fail", [](auto& facts) { facts.slots.pop_back(); }, "does not know which slot"},
        {"booted-slot", "warn", [](auto& facts) { facts.slots.clear(); }, "did not tell its slots"},
        {"other-slot", "fail", [](auto& facts) { facts.slots[0].texts["class"] = "data"; },
         "no other slot of the class 'rootfs'"},
        {"other-slot", "fail", [](auto& facts) { facts.slots[0].texts["parent"] = "rescue.0"; },
         "no other slot"},
        {"other-slot", "fail", [](auto& facts) { facts.slots[0].texts["mountpoint"] = "/mnt"; },
         "'rootfs.1' is mounted at '/mnt'"},
        {"other-slot", "fail",
         [](auto& facts) {
             facts.slots.push_back({"appfs.1", {{"parent", "rootfs.1"}, {"mountpoint", "/mnt"}}});
         },
         "'appfs.1' is mounted"},
        {"clock", "warn", [](auto& facts) { facts.now = 0; }, "1970-01-01"},
        {"state", "fail", [](auto& facts) { facts.state = InstallationState::Failed; }, "'resume'"},
        {"restart", "fail", [](auto& facts) { facts.restartObstacle = "No restart."; }, "No restart."},
    };
    for (const Check& check : InstallationChecks::Judge(GoodFacts()))
    {
        EXPECT_EQ(check.grade, "pass") << check.name << ": " << check.text;
    }
    for (const auto& [name, grade, change, text] : rows)
    {
        InspectionFacts facts = GoodFacts();
        change(facts);
        EXPECT_THAT(InstallationChecks::Judge(facts),
                    Contains(AllOf(Field(&Check::name, name), Field(&Check::grade, grade),
                                   Field(&Check::text, HasSubstr(text)))));
    }
}

TEST(StartGuardTest, EveryCaseHasItsAction)
{
    const auto make = [](const char* bootId, std::int64_t dueTime = 0, bool installation = true,
                         bool prepared = true, InstallationState state = InstallationState::Installing)
    { return ComponentRecord{state, false, installation, prepared, bootId, "X", dueTime, false}; };
    // The present boot is "now", at 1000 microseconds, and the installation started from slot A.
    const auto idle = make("now", 0, true, false, InstallationState::Idle);
    const auto failed = make("now", 0, true, false, InstallationState::Failed);
    const auto begun = make("old", 0, true, false);
    const auto old = make("old");
    const auto present = make("now");
    const auto delayedThen = make("old", 2000);
    const auto delayedNow = make("now", 2000);
    const auto due = make("now", 1000);
    const auto dueThen = make("old", 1000);
    const auto unpreparedThen = make("old", 2000, true, false);
    const auto revert = make("now", 0, false);
    const auto revertThen = make("old", 0, false);
    auto ordered = old;
    ordered.restartOrdered = true;
    const RaucAnswer absent = {RaucState::Absent, "", ""};
    const RaucAnswer silent = {RaucState::Silent, "", ""};
    const RaucAnswer busy = {RaucState::Busy, "", ""};
    const RaucAnswer restingOnA = {RaucState::Resting, "A", ""};
    const RaucAnswer restingOnB = {RaucState::Resting, "B", ""};
    const RaucAnswer restingOnUnknown = {RaucState::Resting, "", ""};
    // Booted from the slot again in which it was begun, or not.
    const RaucAnswer bootedX = {RaucState::Resting, "A", "X"};
    const RaucAnswer bootedY = {RaucState::Resting, "A", "Y"};

    const std::vector<std::tuple<const char*, ComponentRecord, RaucAnswer, bool, StartAction>> rows = {
        {"idle", idle, absent, false, StartAction::Initialize},
        {"failed", failed, absent, false, StartAction::Initialize},
        {"not prepared", begun, restingOnA, false, StartAction::EndAsFailed},
        {"new boot", old, restingOnB, false, StartAction::Initialize},
        {"new boot, RAUC not there yet", old, absent, false, StartAction::Wait},
        {"new boot, RAUC busy", old, busy, true, StartAction::Wait},
        {"new boot, primary slot not known yet", old, restingOnUnknown, false, StartAction::Wait},
        {"new boot, had waited for its time", delayedThen, restingOnA, false, StartAction::InstallAgain},
        {"new boot, had waited, RAUC never came", delayedThen, absent, true, StartAction::InstallAgain},
        {"new boot, waits, switched by others", delayedThen, restingOnB, false, StartAction::InstallAgain},
        {"new boot, its time had come, switched", dueThen, restingOnB, false, StartAction::Initialize},
        {"new boot, waits, not prepared", unpreparedThen, restingOnA, false, StartAction::InstallAgain},
        {"new boot, had waited, slot known", delayedThen, bootedX, false, StartAction::InstallAgain},
        {"new boot, waits, other slot", delayedThen, bootedY, false, StartAction::InstallAgain},
        {"new boot, its time had come", dueThen, bootedX, false, StartAction::InstallAgain},
        {"new boot, its time had come, other slot", dueThen, bootedY, false, StartAction::Initialize},
        {"new boot, power lost in the middle", old, bootedX, false, StartAction::EndAsFailed},
        {"new boot, power lost, but switched", old, bootedY, false, StartAction::Initialize},
        {"new boot, switched back", ordered, bootedX, false, StartAction::Initialize},
        {"new boot, not reverted", revertThen, bootedX, false, StartAction::EndAsFailed},
        {"new boot, reverted", revertThen, bootedY, false, StartAction::Initialize},
        {"new boot, RAUC never came", old, absent, true, StartAction::Initialize},
        {"same boot, RAUC goes on", present, busy, true, StartAction::Wait},
        {"same boot, switched", present, restingOnB, false, StartAction::Restart},
        {"same boot, not switched", present, restingOnA, false, StartAction::EndAsFailed},
        {"same boot, primary slot not known yet", present, restingOnUnknown, false, StartAction::Wait},
        {"same boot, primary slot never known", present, restingOnUnknown, true, StartAction::EndAsFailed},
        {"same boot, RAUC not there yet", present, silent, false, StartAction::Wait},
        {"same boot, RAUC never came", present, absent, true, StartAction::Wait},
        {"same boot, waits for its time", delayedNow, restingOnA, false, StartAction::InstallAgain},
        {"same boot, waits for its time, RAUC busy", delayedNow, busy, true, StartAction::InstallAgain},
        {"same boot, waits, switched by others", delayedNow, restingOnB, false, StartAction::InstallAgain},
        {"same boot, its time has come, RAUC busy", due, busy, true, StartAction::Wait},
        {"same boot, its time has come", due, restingOnA, false, StartAction::InstallAgain},
        {"same boot, its time had come, switched", due, restingOnB, false, StartAction::Restart},
        // A revert goes back to the slot that the installation started from.
        {"same boot, reverted", revert, restingOnA, false, StartAction::Restart},
        {"same boot, not reverted", revert, restingOnB, false, StartAction::EndAsFailed},
    };
    for (const auto& [name, record, rauc, waitedLong, action] : rows)
    {
        const auto decision = StartGuard::Decide({record, "now", "A", rauc, waitedLong, 1000});
        EXPECT_EQ(decision.action, action) << name;
        EXPECT_EQ(decision.reason.empty(), action == StartAction::Initialize) << name;
    }
}

TEST(RaucWatchTest, AnAnswerTellsWhetherRaucWouldAnswerMore)
{
    const char* const glib = "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code30";
    const std::vector<std::tuple<const char*, const char*, RaucState>> rows = {
        {"", "", RaucState::Resting},
        {glib, "already processing a different method", RaucState::Busy},
        {glib, "Already processing a different method", RaucState::Busy},
        {glib, "Failed getting primary slot: custom backend: failed\n", RaucState::Resting},
        {"org.freedesktop.DBus.Error.NoReply", "Method call timed out", RaucState::Silent},
        {"org.freedesktop.DBus.Error.ServiceUnknown", "not provided by any file", RaucState::Absent},
        {"org.freedesktop.DBus.Error.NameHasNoOwner", "", RaucState::Absent},
        {"org.freedesktop.DBus.Error.Spawn.ChildExited", "exited with status 3", RaucState::Absent},
        {"org.freedesktop.DBus.Error.Disconnected", "", RaucState::Absent},
        {"org.freedesktop.systemd1.UnitMasked", "Unit rauc.service is masked.", RaucState::Absent},
        {"org.freedesktop.DBus.Error.LimitsExceeded", "", RaucState::Silent},
        {"org.freedesktop.DBus.Error.UnknownMethod", "already processing", RaucState::Silent},
    };
    for (const auto& [name, text, state] : rows)
    {
        EXPECT_EQ(RaucWatch::Classify({name, text}), state) << name << ": " << text;
    }
}

} // namespace Zel::Host::Service

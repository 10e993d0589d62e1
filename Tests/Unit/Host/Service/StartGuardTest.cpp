#include "Service/StartGuard.h"

#include <gtest/gtest.h>

#include <vector>

namespace Zel::Host::Service
{

using State = Services::SoftwareUpdate::InstallationState;

namespace
{

/// A record of something that was begun in a boot, as an installation or as a revert.
ComponentRecord MakeRecord(State state, bool prepared, const String& bootId, bool installation = true)
{
    ComponentRecord record;
    record.state = state;
    record.begunAsInstallation = installation;
    record.prepared = prepared;
    record.bootId = bootId;
    return record;
}

} // namespace

TEST(StartGuardTest, EveryCaseHasItsAction)
{
    // The present boot is "now", and the installation started from slot A.
    const auto idle = MakeRecord(State::Idle, false, "now");
    const auto failed = MakeRecord(State::Failed, false, "now");
    const auto begun = MakeRecord(State::Installing, false, "old");
    const auto old = MakeRecord(State::Installing, true, "old");
    const auto present = MakeRecord(State::Installing, true, "now");
    auto delayedThen = old;
    auto delayedNow = present;
    delayedThen.dueTime = delayedNow.dueTime = 2000;
    const auto revert = MakeRecord(State::Installing, true, "now", false);
    const RaucAnswer absent = {RaucState::Absent, "", ""};
    const RaucAnswer silent = {RaucState::Silent, "", ""};
    const RaucAnswer busy = {RaucState::Busy, "", ""};
    const RaucAnswer restingOnA = {RaucState::Resting, "A", ""};
    const RaucAnswer restingOnB = {RaucState::Resting, "B", ""};
    const RaucAnswer restingOnUnknown = {RaucState::Resting, "", ""};

    struct Row
    {
        const char* name;
        const ComponentRecord& record;
        const RaucAnswer& rauc;
        bool waitedLong;
        StartAction action;
    };

    const std::vector<Row> rows = {
        {"idle", idle, absent, false, StartAction::Initialize},
        {"failed", failed, absent, false, StartAction::Initialize},
        {"not prepared", begun, restingOnA, false, StartAction::EndAsFailed},
        {"new boot", old, restingOnB, false, StartAction::Initialize},
        {"new boot, RAUC not there yet", old, absent, false, StartAction::Wait},
        {"new boot, RAUC busy", old, busy, true, StartAction::Wait},
        {"new boot, primary slot not known yet", old, restingOnUnknown, false, StartAction::Wait},
        {"new boot, had waited for its time", delayedThen, restingOnA, false, StartAction::InstallAgain},
        {"new boot, had waited, RAUC never came", delayedThen, absent, true, StartAction::InstallAgain},
        {"new boot, had waited but switched", delayedThen, restingOnB, false, StartAction::Initialize},
        {"new boot, RAUC never came", old, absent, true, StartAction::Initialize},
        {"same boot, RAUC goes on", present, busy, true, StartAction::Wait},
        {"same boot, switched", present, restingOnB, false, StartAction::Restart},
        {"same boot, not switched", present, restingOnA, false, StartAction::EndAsFailed},
        {"same boot, primary slot not known yet", present, restingOnUnknown, false, StartAction::Wait},
        {"same boot, primary slot never known", present, restingOnUnknown, true, StartAction::EndAsFailed},
        {"same boot, RAUC not there yet", present, silent, false, StartAction::Wait},
        {"same boot, RAUC never came", present, absent, true, StartAction::Wait},
        {"same boot, waits for its time", delayedNow, restingOnA, false, StartAction::InstallAgain},
        {"same boot, waits for its time, RAUC busy", delayedNow, busy, true, StartAction::Wait},
        {"same boot, waited but switched", delayedNow, restingOnB, false, StartAction::Restart},
        // A revert goes back to the slot that the installation started from.
        {"same boot, reverted", revert, restingOnA, false, StartAction::Restart},
        {"same boot, not reverted", revert, restingOnB, false, StartAction::EndAsFailed},
    };
    for (const Row& row : rows)
    {
        const auto decision = StartGuard::Decide({row.record, "now", "A", row.rauc, row.waitedLong, 1000});
        EXPECT_EQ(decision.action, row.action) << row.name;
        EXPECT_EQ(decision.reason.empty(), row.action == StartAction::Initialize) << row.name;
    }
}

} // namespace Zel::Host::Service

#include "Service/StartGuard.h"

#include <gtest/gtest.h>

#include <vector>

namespace Zel::Host::Service
{

using State = Services::SoftwareUpdate::InstallationState;

namespace
{

/// A record of something that was begun in a boot, as an installation or as a revert.
ComponentRecord MakeRecord(State state, InstallationPhase phase, const String& bootId,
                           bool installation = true)
{
    ComponentRecord record;
    record.state = state;
    record.begunAsInstallation = installation;
    record.phase = phase;
    record.bootId = bootId;
    return record;
}

} // namespace

TEST(StartGuardTest, EveryCaseHasItsAction)
{
    // The present boot is "now", and the installation started from slot A.
    const auto idle = MakeRecord(State::Idle, InstallationPhase::None, "now");
    const auto failed = MakeRecord(State::Failed, InstallationPhase::None, "now");
    const auto begun = MakeRecord(State::Installing, InstallationPhase::Begun, "old");
    const auto old = MakeRecord(State::Installing, InstallationPhase::Prepared, "old");
    auto delayed = old;
    delayed.dueTime = 2000;
    const auto present = MakeRecord(State::Installing, InstallationPhase::Prepared, "now");
    const auto ordered = MakeRecord(State::Installing, InstallationPhase::Restarting, "now");
    const auto revert = MakeRecord(State::Installing, InstallationPhase::Prepared, "now", false);
    const RaucAnswer absent = {RaucState::Absent, ""};
    const RaucAnswer silent = {RaucState::Silent, ""};
    const RaucAnswer busy = {RaucState::Busy, ""};
    const RaucAnswer restingOnA = {RaucState::Resting, "A"};
    const RaucAnswer restingOnB = {RaucState::Resting, "B"};
    const RaucAnswer restingOnUnknown = {RaucState::Resting, ""};

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
        {"new boot, had waited for its time", delayed, restingOnA, false, StartAction::EndAsFailed},
        {"new boot, was due but switched", delayed, restingOnB, false, StartAction::Initialize},
        {"new boot, RAUC never came", old, absent, true, StartAction::Initialize},
        {"same boot, RAUC goes on", present, busy, true, StartAction::Wait},
        {"same boot, switched", present, restingOnB, false, StartAction::Restart},
        {"same boot, restart was ordered", ordered, restingOnB, false, StartAction::Restart},
        {"same boot, not switched", present, restingOnA, false, StartAction::EndAsFailed},
        {"same boot, primary slot not known yet", present, restingOnUnknown, false, StartAction::Wait},
        {"same boot, primary slot never known", present, restingOnUnknown, true, StartAction::EndAsFailed},
        {"same boot, RAUC not there yet", present, silent, false, StartAction::Wait},
        {"same boot, RAUC never came", present, absent, true, StartAction::EndAsFailed},
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

TEST(StartGuardTest, AnInstallationThatWaitedForItsTimeSaysSo)
{
    StartFacts facts;
    facts.record = MakeRecord(State::Installing, InstallationPhase::Prepared, "now");
    facts.record.dueTime = 2000;
    facts.bootId = "now";
    facts.installerSlot = "A";
    facts.rauc = {RaucState::Resting, "A"};
    facts.now = 1000;
    EXPECT_EQ(StartGuard::Decide(facts).reason,
              "The service was started again while the installation waited for its time.");
    facts.now = 3000;
    EXPECT_EQ(StartGuard::Decide(facts).reason,
              "The service was started again during the installation, which RAUC did not complete.");
}

} // namespace Zel::Host::Service

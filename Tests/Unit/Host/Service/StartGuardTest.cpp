#include "Service/StartGuard.h"

#include <gtest/gtest.h>

namespace Zel::Host::Service
{

using State = Services::SoftwareUpdate::InstallationState;

TEST(StartGuardTest, EveryCaseHasItsAction)
{
    constexpr bool installation = true;
    constexpr bool revert = false;
    constexpr auto prepared = InstallationPhase::Prepared;
    constexpr auto restarting = InstallationPhase::Restarting;
    constexpr auto resting = RaucState::Resting;

    struct Row
    {
        const char* name;
        ComponentRecord record;
        RaucAnswer rauc;
        bool waitedLong;
        StartAction action;
    };

    // The present boot is "now", and the installation started from A.
    const std::vector<Row> rows = {
        {"idle", {State::Idle, true, installation, {}, "old", 0}, {}, false, StartAction::Initialize},
        {"failed", {State::Failed, true, installation, {}, "now", 0}, {}, false, StartAction::Initialize},
        {"not prepared",
         {State::Installing, false, installation, InstallationPhase::Begun, "old", 0},
         {resting, "A"},
         false,
         StartAction::EndAsFailed},
        {"new boot",
         {State::Installing, false, installation, prepared, "old", 0},
         {resting, "B"},
         false,
         StartAction::Initialize},
        {"new boot, RAUC not there yet",
         {State::Installing, false, installation, prepared, "old", 0},
         {RaucState::Absent, ""},
         false,
         StartAction::Wait},
        {"new boot, RAUC busy",
         {State::Installing, false, installation, prepared, "old", 0},
         {RaucState::Busy, ""},
         false,
         StartAction::Wait},
        {"new boot, RAUC never came",
         {State::Installing, false, installation, prepared, "old", 0},
         {RaucState::Absent, ""},
         true,
         StartAction::Initialize},
        {"same boot, RAUC goes on",
         {State::Installing, false, installation, prepared, "now", 0},
         {RaucState::Busy, ""},
         true,
         StartAction::Wait},
        {"same boot, switched",
         {State::Installing, false, installation, prepared, "now", 0},
         {resting, "B"},
         false,
         StartAction::Restart},
        {"same boot, restart was ordered",
         {State::Installing, false, installation, restarting, "now", 0},
         {resting, "B"},
         false,
         StartAction::Restart},
        {"same boot, not switched",
         {State::Installing, false, installation, prepared, "now", 0},
         {resting, "A"},
         false,
         StartAction::EndAsFailed},
        {"same boot, the primary slot is not known",
         {State::Installing, false, installation, prepared, "now", 0},
         {resting, ""},
         false,
         StartAction::EndAsFailed},
        {"same boot, RAUC not there yet",
         {State::Installing, false, installation, prepared, "now", 0},
         {RaucState::Silent, ""},
         false,
         StartAction::Wait},
        {"same boot, RAUC never came",
         {State::Installing, false, installation, prepared, "now", 0},
         {RaucState::Absent, ""},
         true,
         StartAction::EndAsFailed},
        // A revert goes back to the slot that the installation started from.
        {"same boot, reverted",
         {State::Installing, true, revert, prepared, "now", 0},
         {resting, "A"},
         false,
         StartAction::Restart},
        {"same boot, not reverted",
         {State::Installing, true, revert, prepared, "now", 0},
         {resting, "B"},
         false,
         StartAction::EndAsFailed},
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
    StartFacts facts{{State::Installing, false, true, InstallationPhase::Prepared, "now", 2000},
                     "now",
                     "A",
                     {RaucState::Resting, "A"},
                     false,
                     1000};
    EXPECT_EQ(StartGuard::Decide(facts).reason,
              "The service was started again while the installation waited for its time.");
    facts.now = 3000;
    EXPECT_EQ(StartGuard::Decide(facts).reason,
              "The service was started again during the installation, which RAUC did not complete.");
}

} // namespace Zel::Host::Service

#include "ComponentFixture.h"

#include "Service/Clock.h"
#include "Service/Database.h"

#include <gmock/gmock.h>

#include <future>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using ComponentStartTest = ComponentFixture;

TEST_F(ComponentStartTest, TheStartInitializesTheModuleAndReadsTheVersions)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    EXPECT_TRUE(Start().IsOk());
    EXPECT_THAT(script->GetCalls(), ElementsAre("Initialize settings.xml", "GetSoftwareVersion Current",
                                                "GetSoftwareVersion Pending", "GetSoftwareVersion Fallback"));
    EXPECT_EQ(component.GetSnapshot().currentVersion, "1.0.0.0");
    EXPECT_EQ(component.GetSnapshot().pendingVersion, "2.0.0.0");
    EXPECT_THAT(changed, ElementsAre("CurrentVersion", "PendingVersion", "VersionsTime"));
}

TEST_F(ComponentStartTest, AModuleThatCannotBeInitializedTellsWhy)
{
    script->initialize = [](IUpdaterStatus&) { throw Exception("Failed to open D-BUS."); };
    const RequestResult result = Start();
    EXPECT_EQ(result.error, "OperationFailed");
    EXPECT_THAT(result.text, HasSubstr("Failed to open D-BUS."));
    EXPECT_EQ(Install().error, "TryLater");
}

TEST_F(ComponentStartTest, ThePendingVersionIsAskedForOnlyWhileRaucRests)
{
    for (const RaucState state : {RaucState::Busy, RaucState::Silent, RaucState::Absent})
    {
        rauc = state;
        script->Clear();
        ASSERT_TRUE(Start().IsOk());
        EXPECT_THAT(script->GetCalls(), Not(Contains(HasSubstr("Pending"))));
        EXPECT_THAT(script->GetCalls(), Not(Contains(HasSubstr("Fallback"))));
        EXPECT_EQ(component.GetSnapshot().currentVersion, "1.0.0.0");
    }
    rauc = RaucState::Resting;
    script->SetVersion(FileType::Pending, "2.0.0.0");
    component.OnRaucOwnerChanged(true);
    EXPECT_TRUE(RunUntil([this] { return component.GetSnapshot().pendingVersion == "2.0.0.0"; }));
}

TEST_F(ComponentStartTest, AnInterruptedInstallationEndsAsFailedBeforeTheModuleSeesIt)
{
    BeginInThisBoot();
    script->initialize = [](IUpdaterStatus& updaterStatus)
    {
        Services::SoftwareUpdate::SoftwareUpdateStatus read;
        EXPECT_TRUE(updaterStatus.GetStatus(Id, read));
        EXPECT_EQ(read.state, InstallationState::Failed);
    };
    EXPECT_TRUE(Start().IsOk());
    const char* const reason = "The installation was interrupted, and RAUC did not complete it.";
    EXPECT_EQ(component.GetSnapshot().lastVerdict.reason, reason);
    EXPECT_THAT(interruptions, ElementsAre(String("2.0.0.0: ") + reason));
    EXPECT_THAT(script->GetCalls(), Contains("Initialize settings.xml"));
}

TEST_F(ComponentStartTest, ACompleteInstallationOrdersTheRestartWhenRaucHasEnded)
{
    BeginInThisBoot();
    // RAUC goes on, and then has switched to the other slot.
    rauc = RaucState::Busy;
    component.Start();
    EXPECT_EQ(startDelays, 1);
    EXPECT_EQ(Install().text, "The updater is starting. Try again in a moment.");
    rauc = RaucState::Resting;
    primarySlot = "rootfs.1";
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); }));
    EXPECT_EQ(restarts, 1);
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Installing);
    EXPECT_EQ(Install().text, "The device is about to restart. Try again after that.");
    EXPECT_THAT(script->GetCalls(), IsEmpty());
}

TEST_F(ComponentStartTest, AnInstallationThatWaitedIsAskedForAgainWithWhatRemains)
{
    const std::int64_t dueTime = GetUnixTime() + 60'000'000;
    BeginInThisBoot(dueTime);
    long long remaining = 0; // ms
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = [&](IUpdaterStatus& updaterStatus, const String& revision, long long delay)
    {
        remaining = delay;
        return Begin(updaterStatus, revision, delay);
    };
    EXPECT_TRUE(Start().IsOk());
    EXPECT_TRUE(RunUntil([this] { return component.GetSnapshot().nextStart != 0; }));
    EXPECT_THAT(script->GetCalls(), Contains("InstallSoftwarePackage 2.0.0.0"));
    EXPECT_GT(remaining, 50'000);
    EXPECT_LE(remaining, 60'000);
    EXPECT_NEAR(static_cast<double>(component.GetSnapshot().nextStart), static_cast<double>(dueTime), 2e6);
    EXPECT_THAT(interruptions, IsEmpty());
}

TEST_F(ComponentStartTest, RaucThatGoesInMidInstallationIsAskedHowFarItCame)
{
    script->install = Begin;
    script->SetVersion(FileType::Pending, "2.0.0.0");
    ASSERT_TRUE(Start().IsOk());
    ASSERT_TRUE(Install().IsOk());
    script->Clear();
    rauc = RaucState::Absent;
    component.OnRaucOwnerChanged(false);
    ASSERT_TRUE(RunUntil([this] { return startDelays > 0; }));
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Installing);
    EXPECT_THAT(script->GetCalls(), ElementsAre("Destroy"));
    rauc = RaucState::Resting;
    EXPECT_TRUE(RunUntil([this] { return component.GetSnapshot().state == InstallationState::Failed; }));
    EXPECT_TRUE(RunUntil([this] { return component.HasStarted(); }));
    EXPECT_EQ(interruptions.size(), 1);
}

TEST_F(ComponentStartTest, RaucThatGoesWhileAnInstallationWaitsForItsTimeIsNotMissed)
{
    script->install = Begin;
    script->SetVersion(FileType::Pending, "2.0.0.0");
    ASSERT_TRUE(Start().IsOk());
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    rauc = RaucState::Absent;
    component.OnRaucOwnerChanged(false);
    EXPECT_TRUE(component.HasStarted());
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Installing);
}

TEST_F(ComponentStartTest, AnInstallationThatEndsBeforeItsTimeIsNotStartedByTheOldModule)
{
    script->install = Begin;
    script->SetVersion(FileType::Pending, "2.0.0.0");
    ASSERT_TRUE(Start().IsOk());
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    script->Clear();
    starts.clear();
    // What a module does when RAUC fails for somebody else.
    status->EndInstallation(Id, false);
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); }));
    EXPECT_EQ(script->GetCalls().front(), "Destroy");
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Failed);
}

TEST_F(ComponentStartTest, AStoreThatCannotBeReadOrWrittenKeepsTheModuleAway)
{
    BeginInThisBoot();
    const auto run = [this](const char* statement)
    { Database(folder / "state/status.sqlite").Execute(statement); };
    run("ALTER TABLE component RENAME TO lost");
    component.Start();
    ASSERT_TRUE(RunUntil([this] { return startDelays > 0; }));
    run("CREATE TRIGGER refuse BEFORE UPDATE ON lost BEGIN SELECT RAISE(ABORT, 'refused'); END");
    run("ALTER TABLE lost RENAME TO component");
    ASSERT_TRUE(
        RunUntil([this] { return component.GetSnapshot().message.find("interrupted") != String::npos; }));
    EXPECT_THAT(script->GetCalls(), IsEmpty());
    EXPECT_THAT(starts, IsEmpty());
    run("DROP TRIGGER refuse");
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); }));
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Failed);
}

TEST_F(ComponentStartTest, ADroppedModuleIsReplacedByTheNextStart)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    ASSERT_TRUE(Start().IsOk());
    bool dropped = false;
    component.Drop([&dropped] { dropped = true; });
    EXPECT_EQ(Install().error, "TryLater");
    EXPECT_TRUE(RunUntil([&] { return dropped; }));
    EXPECT_EQ(script->GetCalls().back(), "Destroy");
    EXPECT_EQ(component.GetSnapshot().pendingVersion, "2.0.0.0");
    script->Clear();
    EXPECT_TRUE(Start().IsOk());
    EXPECT_THAT(script->GetCalls(), ElementsAre("Initialize settings.xml", "GetSoftwareVersion Pending",
                                                "GetSoftwareVersion Fallback"));
    EXPECT_TRUE(Resume().error == "InvalidState");
}

TEST_F(ComponentStartTest, AModuleThatIsDroppedDuringItsFirstReadStartsAgainOnce)
{
    std::promise<void> reading;
    std::promise<void> mayRead;
    script->read = [&, isFirst = true](FileType /*fileType*/) mutable
    {
        if (std::exchange(isFirst, false))
        {
            reading.set_value();
            mayRead.get_future().wait();
        }
    };
    component.Start();
    auto begun = reading.get_future();
    ASSERT_TRUE(
        RunUntil([&] { return begun.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    component.Drop([this] { component.Start(); });
    EXPECT_FALSE(component.HasStarted());
    mayRead.set_value();
    EXPECT_TRUE(RunUntil([this] { return component.HasStarted(); }));
    EXPECT_EQ(starts.size(), 1);
}

} // namespace Zel::Host::Service

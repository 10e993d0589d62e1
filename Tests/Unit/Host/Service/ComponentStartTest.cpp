#include "Support/ComponentFixture.h"

#include "Service/Clock.h"

#include <future>

namespace Zel::Host::Service
{

using namespace testing;
using ComponentStartTest = ComponentFixture;

TEST_F(ComponentStartTest, TheStartInitializesTheModuleAndReadsTheVersions)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(script->calls.Get(),
                ElementsAre("Initialize settings.xml", "GetSoftwareVersion Current",
                            "GetSoftwareVersion Pending", "GetSoftwareVersion Fallback"));
    EXPECT_EQ(Now().currentVersion + Now().pendingVersion, "1.0.0.02.0.0.0");
    EXPECT_THAT(changed, ElementsAre("Activity", "CurrentVersion", "PendingVersion", "VersionsTime"));
}

TEST_F(ComponentStartTest, AModuleThatCannotBeInitializedTellsWhy)
{
    script->initialize = [](auto&) { throw Exception("Failed to open D-BUS."); };
    EXPECT_THAT(Start(), StartsWith("OperationFailed: Failed to open D-BUS."));
    EXPECT_THAT(Install(), StartsWith("TryLater: "));
}

TEST_F(ComponentStartTest, ThePendingVersionIsAskedForOnlyWhileRaucRests)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    for (const RaucState state : {RaucState::Busy, RaucState::Silent, RaucState::Absent})
    {
        rauc.state = state;
        script->calls.Clear();
        ASSERT_EQ(Start(), "");
        EXPECT_THAT(script->calls.Get(), Not(Contains(AnyOf(HasSubstr("Pending"), HasSubstr("Fallback")))));
        EXPECT_EQ(Now().currentVersion, "1.0.0.0");
    }
    rauc.state = RaucState::Resting;
    component.OnRaucOwnerChanged(true);
    EXPECT_TRUE(RunUntil([this] { return Now().pendingVersion == "2.0.0.0"; }));
}

TEST_F(ComponentStartTest, AnInterruptedInstallationEndsAsFailedBeforeTheModuleSeesIt)
{
    BeginInThisBoot();
    Services::SoftwareUpdate::SoftwareUpdateStatus seen;
    script->initialize = [&](IUpdaterStatus& given) { EXPECT_TRUE(given.GetStatus(Id, seen)); };
    EXPECT_EQ(Start(), "");
    EXPECT_EQ(seen.state, InstallationState::Failed);
    const String reason = "The installation was interrupted, and RAUC did not complete it.";
    EXPECT_EQ(Now().lastVerdict.reason, reason);
    EXPECT_THAT(interruptions, ElementsAre("The installation of version '2.0.0.0' has failed. " + reason));
}

TEST_F(ComponentStartTest, ACompleteInstallationOrdersTheRestartWhenRaucHasEnded)
{
    BeginInThisBoot();
    // RAUC goes on, and then has switched to the other slot.
    rauc.state = RaucState::Busy;
    component.Start();
    EXPECT_EQ(startDelays, 1);
    EXPECT_THAT(Install(), StartsWith("TryLater: RAUC has to tell how far the last installation came."));
    rauc = {RaucState::Resting, "rootfs.1", "A"};
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); }));
    EXPECT_EQ(restarts, 1);
    EXPECT_EQ(Now().state, InstallationState::Installing);
    EXPECT_EQ(Install(), "TryLater: The device is about to restart. Try again after that.");
    EXPECT_THAT(script->calls.Get(), IsEmpty());
}

TEST_F(ComponentStartTest, AnInstallationThatWaitedIsAskedForAgainWithWhatRemains)
{
    const std::int64_t dueTime = GetUnixTime() + 60'000'000;
    BeginInThisBoot(dueTime);
    EXPECT_EQ(Start(), "");
    EXPECT_EQ(Now().activity, Activity::Waiting);
    EXPECT_TRUE(RunUntil([this] { return store->GetComponent(Id).state == InstallationState::Installing; }));
    EXPECT_THAT(script->calls.Get(),
                Contains(MatchesRegex("InstallSoftwarePackage 2.0.0.0 in 5[0-9]{4} ms")));
    EXPECT_EQ(Now().nextStart, dueTime);
    // Somebody else's installation that ends with a restart is none of its business.
    status->AddRestart(Id);
    EXPECT_TRUE(store->GetComponent(Id).dueTime == dueTime && !store->GetComponent(Id).restartOrdered);
    EXPECT_THAT(interruptions, IsEmpty());
    // It is the same installation.
    EXPECT_THAT(component.GetHistory(2), ElementsAre(Field(&HistoryEntry::caller, "A")));
}

TEST_F(ComponentStartTest, AnInstallationThatMissedItsTimeIsAskedForAtOnceWhenRaucRests)
{
    BeginInThisBoot(GetUnixTime() + 1000);
    ASSERT_TRUE(status->Suspend(Id));
    rauc.state = RaucState::Absent;
    EXPECT_EQ(Start(), "");
    EXPECT_EQ(Now().activity, Activity::Waiting);
    EXPECT_EQ(Now().state, InstallationState::Installing);
    EXPECT_THAT(script->calls.Get(), Not(Contains(StartsWith("Install"))));
    rauc.state = RaucState::Resting;
    component.OnRaucOwnerChanged(true);
    EXPECT_TRUE(RunUntil([this] { return Now().activity == Activity::Installing; }));
    EXPECT_THAT(script->calls.Get(), Contains("InstallSoftwarePackage 2.0.0.0"));
}

TEST_F(ComponentStartTest, WhatIsCalledOffWhileRaucIsAskedForItStaysSo)
{
    BeginInThisBoot(GetUnixTime() + 60'000'000);
    rauc.state = RaucState::Absent;
    EXPECT_EQ(Start(), "");
    holds = true;
    component.OnRaucOwnerChanged(true);
    holds = false;
    EXPECT_EQ(Cancel(), "");
    for (const auto& answer : held)
    {
        answer({RaucState::Resting, "rootfs.0", "A"});
    }
    EXPECT_EQ(Resume().substr(0, 12), "InvalidState");
    EXPECT_THAT(script->calls.Get(), Not(Contains(StartsWith("InstallSoftwarePackage"))));
}

TEST_F(ComponentStartTest, ASuspendedInstallationThatTheModuleRefusesHasFailedAndMayBeCalledOffBefore)
{
    for (const bool cancel : {true, false})
    {
        BeginInThisBoot(GetUnixTime() + 60'000'000);
        rauc.state = cancel ? RaucState::Absent : RaucState::Resting;
        script->install = [](auto&, auto&, auto) { return ResultCode::NotFound; };
        EXPECT_EQ(Start(), "");
        EXPECT_EQ(cancel ? Cancel() : "", "");
        ASSERT_TRUE(RunUntil([this] { return Now().activity == Activity::None; }));
        EXPECT_EQ(component.GetHistory(1).at(0).result, cancel ? "called-off" : "failed");
    }
    EXPECT_THAT(failures, ElementsAre(HasSubstr("could not be resumed. ")));
}

TEST_F(ComponentStartTest, WhatWaitedSinceAnEarlierBootAndIsRefusedIsNotified)
{
    PersistentUpdaterStatus earlier(store, "old boot", 0, {});
    earlier.SetUpcoming(Id, {"A", false, "1.0.0.0", "2.0.0.0", GetUnixTime() + 60'000'000, {}});
    ASSERT_EQ(Begin(earlier, "2.0.0.0", 0), ResultCode::Ok);
    Reread();
    script->install = [](auto&, auto&, auto) { return ResultCode::NotFound; };
    EXPECT_EQ(Start(), "");
    ASSERT_TRUE(RunUntil([this] { return Now().state == InstallationState::Failed; }));
    EXPECT_THAT(failures, ElementsAre(HasSubstr("could not be resumed. ")));
}

TEST_F(ComponentStartTest, WhatTheModuleDecidedAfterARestartIsItsOwnToNotifyWheneverTheStoreTakesIt)
{
    {
        PersistentUpdaterStatus earlier(store, "old boot", 0, {});
        earlier.SetBootSlot("B");
        ASSERT_EQ(Begin(earlier, "2.0.0.0", 0), ResultCode::Ok);
        earlier.AddRestart(Id);
    }
    Database other(folder / "state/status.sqlite");
    script->initialize = [&](IUpdaterStatus& given)
    {
        other.Execute(
            "CREATE TRIGGER refuse BEFORE UPDATE ON component BEGIN SELECT RAISE(ABORT, 'full'); END");
        given.EndInstallation(Id, false);
    };
    EXPECT_EQ(Start(), "");
    other.Execute("DROP TRIGGER refuse");
    ASSERT_TRUE(RunUntil([this] { return Now().state == InstallationState::Failed; }));
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(ComponentStartTest, WhatFailsWhileItsModuleIsDroppedIsNotified)
{
    StartWithPending(InstallRequest());
    rauc.state = RaucState::Absent;
    component.OnRaucOwnerChanged(false);
    // What the module's listener may still hear.
    status->SetMessage(Id, "Copying failed.", false);
    status->EndInstallation(Id, false);
    ASSERT_TRUE(RunUntil([this] { return component.HasStarted(); }));
    EXPECT_THAT(failures, ElementsAre(HasSubstr("Copying failed.")));
    EXPECT_THAT(interruptions, IsEmpty());
}

TEST_F(ComponentStartTest, RaucThatGoesInMidInstallationIsAskedHowFarItCame)
{
    StartWithPending(InstallRequest());
    rauc.state = RaucState::Absent;
    component.OnRaucOwnerChanged(false);
    ASSERT_TRUE(RunUntil([this] { return startDelays > 0; }));
    EXPECT_EQ(Now().state, InstallationState::Installing);
    EXPECT_THAT(script->calls.Get(), ElementsAre("Destroy"));
    rauc.state = RaucState::Resting;
    EXPECT_TRUE(RunUntil([this] { return Now().state == InstallationState::Failed; }));
    EXPECT_TRUE(RunUntil([this] { return component.HasStarted(); }));
    EXPECT_EQ(interruptions.size(), 1);
}

TEST_F(ComponentStartTest, AnInstallationThatWaitsMissesNoRaucButEndsWithItsModule)
{
    StartWithPending(InstallRequest{"", false, 60000});
    starts.clear();
    component.OnRaucOwnerChanged(false);
    EXPECT_TRUE(component.HasStarted());
    EXPECT_EQ(Now().state, InstallationState::Installing);
    // What a module does when RAUC fails for somebody else: the old one must not start it any more.
    status->EndInstallation(Id, false);
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); }));
    EXPECT_EQ(script->calls.Get().front(), "Destroy");
    EXPECT_EQ(Now().state, InstallationState::Failed);
}

TEST_F(ComponentStartTest, AStoreThatCannotBeReadOrWrittenKeepsTheModuleAway)
{
    BeginInThisBoot();
    records.Execute("ALTER TABLE component RENAME TO lost");
    {
        // As after a start of the service, when nothing is known from before.
        ComponentEnvironment environment = MakeEnvironment();
        environment.status = std::make_shared<PersistentUpdaterStatus>(store, "boot", 0, nullptr);
        Component unknown(Id, environment);
        unknown.Start();
        ASSERT_TRUE(RunUntil([this] { return startDelays == 1; }));
    }
    component.Start();
    ASSERT_TRUE(RunUntil([this] { return startDelays == 2; }));
    EXPECT_EQ(Now().state, InstallationState::Installing);
    records.Execute("CREATE TRIGGER refuse BEFORE UPDATE ON lost BEGIN SELECT RAISE(ABORT, 'refused'); END");
    records.Execute("ALTER TABLE lost RENAME TO component");
    ASSERT_TRUE(RunUntil([this] { return Now().message.find("interrupted") != String::npos; }));
    EXPECT_THAT(script->calls.Get(), IsEmpty());
    EXPECT_THAT(starts, IsEmpty());
    records.Execute("DROP TRIGGER refuse");
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); }));
    EXPECT_EQ(Now().state, InstallationState::Failed);
}

TEST_F(ComponentStartTest, ADroppedModuleIsReplacedByTheNextStart)
{
    StartWithPending();
    bool dropped = false;
    component.Drop([&dropped] { dropped = true; });
    EXPECT_THAT(Install(), StartsWith("TryLater: "));
    EXPECT_TRUE(RunUntil([&] { return dropped; }));
    EXPECT_EQ(script->calls.Get().back(), "Destroy");
    EXPECT_EQ(Now().pendingVersion, "2.0.0.0");
    script->calls.Clear();
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(script->calls.Get(), ElementsAre("Initialize settings.xml", "GetSoftwareVersion Pending",
                                                 "GetSoftwareVersion Fallback"));
    EXPECT_THAT(Resume(), StartsWith("InvalidState: "));
}

TEST_F(ComponentStartTest, AModuleThatIsDroppedDuringItsFirstReadStartsAgainOnce)
{
    std::promise<void> mayRead;
    script->read = [future = mayRead.get_future().share()](FileType) { future.wait(); };
    component.Start();
    ASSERT_TRUE(RunUntil([this] { return script->calls.Get().size() > 1; }));
    component.Drop([this] { component.Start(); });
    EXPECT_FALSE(component.HasStarted());
    mayRead.set_value();
    EXPECT_TRUE(RunUntil([this] { return component.HasStarted(); }));
    EXPECT_EQ(starts.size(), 1);
}

} // namespace Zel::Host::Service

#include "Support/ComponentFixture.h"

#include "Service/Clock.h"

#include <future>

namespace Zel::Host::Service
{

using namespace testing;
using ComponentTest = ComponentFixture;

TEST_F(ComponentTest, WithoutAnAnswerOfRaucNothingIsTouched)
{
    ASSERT_EQ(Start(), "");
    script->calls.Clear();
    for (const auto& [state, reason] : {std::pair{RaucState::Busy, "RAUC is busy."},
                                        {RaucState::Silent, "RAUC does not answer."},
                                        {RaucState::Absent, "RAUC is not running."}})
    {
        rauc.state = state;
        EXPECT_THAT((std::vector{Stage(), Install(), Revert()}),
                    Each(StartsWith(String("TryLater: ") + reason)));
    }
    EXPECT_THAT(script->calls.Get(), IsEmpty());
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, RaucThatGoesWhileABundleIsLookedAtDoesNotCondemnIt)
{
    ASSERT_EQ(Start(), "");
    script->stage = [this](auto&, auto&)
    {
        loop.Post([this] { component.OnRaucOwnerChanged(false); });
        return ResultCode::InvalidArgument;
    };
    // It is back, and rests, by the time of the refusal.
    EXPECT_THAT(Stage(), StartsWith("TryLater: RAUC has gone meanwhile."));
    goes = true;
    script->calls.Clear();
    EXPECT_THAT(Stage(), StartsWith("TryLater: RAUC is not running."));
    EXPECT_THAT(script->calls.Get(), Not(Contains(StartsWith("SetSoftwarePackage"))));
}

TEST_F(ComponentTest, ASecondRequestIsRefusedWithWhoIsBusyAndOneThatLosesItsModuleIsAnswered)
{
    ASSERT_EQ(Start(), "");
    std::promise<void> mayEnd;
    script->stage = [&](auto&, auto&)
    {
        mayEnd.get_future().wait();
        return ResultCode::InvalidArgument;
    };
    std::optional<RequestResult> first;
    component.Stage(OpenBundle(), "user 7", [&first](const RequestResult& result) { first = result; });
    ASSERT_TRUE(RunUntil([this] { return script->calls.Get().back() == "SetSoftwarePackage content"; }));
    EXPECT_THAT(Install(), StartsWith("Busy: The request of user 7 to stage a bundle is still under way."));
    component.Drop([] {});
    rauc.state = RaucState::Absent;
    mayEnd.set_value();
    EXPECT_TRUE(RunUntil([&] { return first.has_value(); }));
    EXPECT_FALSE(first->IsOk());
    EXPECT_TRUE(RunUntil([this] { return script->calls.Get().back() == "Destroy"; }));
    EXPECT_TRUE(RunUntil([this] { return IsDeliveryEmpty(); }));
}

TEST_F(ComponentTest, InstallChoosesTheVersionThatIsAskedFor)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->SetVersion(FileType::Fallback, "0.9.0.0");
    ASSERT_EQ(Start(), "");
    const std::vector<std::pair<InstallRequest, String>> rows = {
        {{"", false, 0}, "InstallSoftwarePackage 2.0.0.0"},
        {{"2.0.0.0", false, 0}, "InstallSoftwarePackage 2.0.0.0"},
        {{"", true, 0}, "InstallSoftwarePackage 0.9.0.0"},
        {{"0.9.0.0", true, 0}, "InstallSoftwarePackage 0.9.0.0"},
        // The module knows what to say of other versions.
        {{"7.0.0.0", false, 0}, "InstallSoftwarePackage 7.0.0.0"},
        {{"7.0.0.0", true, 0}, "NotFound"},
        {{String(512, '1'), false, 0}, "InvalidArgument"},
        {{"", false, Api::DelayLimit}, "InvalidArgument"},
    };
    for (const auto& [request, outcome] : rows)
    {
        script->calls.Clear();
        const String refusal = Install(request);
        const String order = refusal.empty() ? script->calls.Get().back() : refusal;
        EXPECT_THAT(order, StartsWith(outcome)) << request.version;
    }
    script->SetVersion(FileType::Pending, "");
    EXPECT_THAT(Install(), StartsWith("NotFound: There is no pending version."));
    // Nor is a bundle handed over whose version no module knows.
    script->calls.Clear();
    bundle = RaucBundle{String(512, '1'), "Controller"};
    EXPECT_THAT(Stage(), StartsWith("InvalidArgument: The version has 512 characters"));
    EXPECT_THAT(script->calls.Get(), Not(Contains(StartsWith("SetSoftwarePackage"))));
}

TEST_F(ComponentTest, AfterAFailedInstallationResumeComesFirst)
{
    StartWithPending();
    script->install = [](IUpdaterStatus& updaterStatus, const String& revision, long long delay)
    {
        EXPECT_EQ(Begin(updaterStatus, revision, delay), ResultCode::Ok);
        updaterStatus.SetMessage(Id, "Failed to start RAUC installation.", false);
        updaterStatus.EndInstallation(Id, false);
        return ResultCode::OperationFailed;
    };
    EXPECT_THAT(Install(), StartsWith("OperationFailed: Failed to start RAUC installation. "));
    EXPECT_EQ(Now().lastVerdict.reason, "Failed to start RAUC installation.");
    EXPECT_THAT(Install(),
                HasSubstr("InvalidState: The last installation failed. Leave that state by 'resume'"));
    EXPECT_EQ(Resume(), "");
    EXPECT_THAT(Resume(), StartsWith("InvalidState: "));
    EXPECT_EQ(Now().state, InstallationState::Idle);
}

TEST_F(ComponentTest, DuringAnInstallationNothingElseIsDoneAndThePendingVersionNotAskedFor)
{
    const std::int64_t before = GetUnixTime();
    StartWithPending(InstallRequest{"", false, 60000});
    EXPECT_EQ(Now().state, InstallationState::Installing);
    EXPECT_THAT(Now().nextStart, AllOf(Ge(before + 60'000'000), Le(GetUnixTime() + 60'000'000)));
    EXPECT_THAT((std::vector{Stage(), Install()}),
                Each(StartsWith("InvalidState: An installation waits until 20")));
    component.OnRaucOwnerChanged(true);
    status->SetProgress(Id, 50);
    ASSERT_TRUE(RunUntil([this] { return Now().progress == 50; }));
    EXPECT_THAT(script->calls.Get(), IsEmpty());
    script->SetVersion(FileType::Pending, "");
    status->EndInstallation(Id, false);
    EXPECT_TRUE(RunUntil([this] { return Now().pendingVersion.empty(); }));
    EXPECT_EQ(Now().state, InstallationState::Failed);
}

TEST_F(ComponentTest, OfABurstOfProgressFewAreAnnouncedAndTheLastOneIs)
{
    ASSERT_EQ(Start(), "");
    announcements = 0;
    changed.clear();
    for (int percentage = 0; percentage <= 100; ++percentage)
    {
        status->SetMessage(Id, "Step\n" + std::to_string(percentage), false);
        status->SetProgress(Id, percentage);
    }
    ASSERT_TRUE(RunUntil([this] { return Now().progress == 100; }));
    EXPECT_EQ(Now().message, "Step\\x0A100");
    EXPECT_THAT(changed, ElementsAre("Message", "Progress"));
    EXPECT_LE(announcements, 3);
}

TEST_F(ComponentTest, AnInstallationIsCalledOffUntilRaucMayHaveBeenAskedForIt)
{
    ASSERT_TRUE(status->WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.1", true));
    StartWithPending();
    EXPECT_THAT(Cancel(), StartsWith("InvalidState: "));
    EXPECT_EQ(Install({"", false, 60000}), "");
    EXPECT_EQ(Cancel(), "");
    // What a revert would have gone back to is the same again.
    EXPECT_EQ(store->ReadProperty(Id, StatusStore::InstallerSlotProperty), "rootfs.1");
    EXPECT_EQ(store->ReadProperty(Id, StatusStore::TargetVersionProperty), "");
    EXPECT_EQ(Now().message, "Called off by A.");
    EXPECT_EQ(component.GetHistory(1).at(0).result, "called-off");
    // There is a new module; what RAUC does it does for somebody else.
    EXPECT_EQ(Install({"", false, 60000}), "");
    rauc.state = RaucState::Busy;
    EXPECT_EQ(Cancel(), "");
    EXPECT_EQ(Now().activity, Activity::None);
    rauc.state = RaucState::Resting;
    EXPECT_EQ(Install(), "");
    EXPECT_THAT(Cancel(), HasSubstr("has started already"));
}

TEST_F(ComponentTest, ARevertThatIsNotNeededIsRefusedAndOneThatRaucDidNotDoEndsAsFailed)
{
    StartWithPending();
    status->SetMessage(Id, "What was before.", true);
    EXPECT_THAT(Revert(), StartsWith("InvalidState: The device runs from the slot"));
    EXPECT_EQ(Now().message, "");
    script->revert = [](IUpdaterStatus& given)
    {
        EXPECT_TRUE(given.BeginInstallation(Id, false));
        EXPECT_TRUE(given.WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.1", true));
        EXPECT_TRUE(given.WriteProperty(Id, StatusStore::RevertedToProperty, "rootfs.1", true));
        return ResultCode::GeneralError;
    };
    EXPECT_THAT(Revert(), StartsWith("GeneralError: "));
    EXPECT_TRUE(RunUntil([this] { return Now().state == InstallationState::Failed; }));
    EXPECT_EQ(store->ReadProperty(Id, StatusStore::RevertedToProperty), "");
    EXPECT_THAT(interruptions,
                ElementsAre("The revert has failed. The revert was interrupted, and RAUC did not "
                            "complete it."));
}

TEST_F(ComponentTest, AnEndThatTheStoreCouldNotKeepIsKeptLater)
{
    StartWithPending(InstallRequest());
    records.Execute(
        "CREATE TRIGGER refuse BEFORE UPDATE ON component BEGIN SELECT RAISE(ABORT, 'full'); END");
    status->SetMessage(Id, "Copying failed.", false);
    status->EndInstallation(Id, false);
    EXPECT_EQ(Now().state, InstallationState::Installing);
    records.Execute("DROP TRIGGER refuse");
    ASSERT_TRUE(RunUntil([this] { return Now().state == InstallationState::Failed; }));
    EXPECT_THAT(failures, ElementsAre("The installation of version '2.0.0.0' has failed. Copying failed."));
}

} // namespace Zel::Host::Service

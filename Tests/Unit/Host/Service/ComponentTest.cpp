#include "Support/ComponentFixture.h"

#include "Service/Clock.h"

#include <future>

namespace Zel::Host::Service
{

using namespace testing;
using ComponentTest = ComponentFixture;

TEST_F(ComponentTest, ARefusedBundleLeavesNothingBehind)
{
    ASSERT_TRUE(Start().IsOk());
    script->stage = [](auto&, String& message)
    {
        message = "The verification of the software package failed.";
        return ResultCode::InvalidArgument;
    };
    const RequestResult result = Stage();
    EXPECT_EQ(result.error, "InvalidArgument");
    EXPECT_EQ(result.text, "The verification of the software package failed. Use a bundle that is built and "
                           "signed for this device.");
    EXPECT_EQ(Stage("").text, "The bundle is empty.");
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, WithoutAnAnswerOfRaucNothingIsTouched)
{
    ASSERT_TRUE(Start().IsOk());
    script->calls.Clear();
    for (const auto& [state, reason] : {std::pair{RaucState::Busy, "RAUC is busy."},
                                        {RaucState::Silent, "RAUC does not answer."},
                                        {RaucState::Absent, "RAUC is not running."}})
    {
        rauc.state = state;
        const auto revert = [this](const Completion& done) { component.Revert("A", done); };
        for (const RequestResult& result : {Stage(), Install(), Ask(revert)})
        {
            EXPECT_EQ(result.error, "TryLater");
            EXPECT_THAT(result.text, HasSubstr(reason));
        }
    }
    EXPECT_THAT(script->GetCalls(), IsEmpty());
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, ASecondRequestIsRefusedWithWhoIsBusyAndOneThatLosesItsModuleIsAnswered)
{
    ASSERT_TRUE(Start().IsOk());
    std::promise<void> mayEnd;
    script->stage = [&](auto&, auto&)
    {
        mayEnd.get_future().wait();
        return ResultCode::InvalidArgument;
    };
    std::optional<RequestResult> first;
    component.Stage(OpenBundle(), "user 7", [&first](const RequestResult& result) { first = result; });
    ASSERT_TRUE(RunUntil([this] { return script->GetCalls().back() == "SetSoftwarePackage content"; }));
    const RequestResult second = Install();
    EXPECT_EQ(second.error, "Busy");
    EXPECT_THAT(second.text, HasSubstr("The request of user 7 to stage a bundle is still under way."));
    component.Drop([] {});
    rauc.state = RaucState::Absent;
    mayEnd.set_value();
    EXPECT_TRUE(RunUntil([&] { return first.has_value(); }));
    EXPECT_FALSE(first->IsOk());
    EXPECT_TRUE(RunUntil([this] { return script->GetCalls().back() == "Destroy"; }));
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, InstallChoosesTheVersionThatIsAskedFor)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->SetVersion(FileType::Fallback, "0.9.0.0");
    ASSERT_TRUE(Start().IsOk());
    const std::vector<std::pair<InstallRequest, String>> rows = {
        {{"", false, 0}, "InstallSoftwarePackage 2.0.0.0"},
        {{"2.0.0.0", false, 0}, "InstallSoftwarePackage 2.0.0.0"},
        {{"", true, 0}, "InstallSoftwarePackage 0.9.0.0"},
        {{"0.9.0.0", true, 0}, "InstallSoftwarePackage 0.9.0.0"},
        // The module knows what to say of other versions.
        {{"7.0.0.0", false, 0}, "InstallSoftwarePackage 7.0.0.0"},
        {{"7.0.0.0", true, 0}, "NotFound"},
        {{String(512, '1'), false, 0}, "InvalidArgument"},
        {{"", false, Component::DelayLimit}, "InvalidArgument"},
    };
    for (const auto& [request, outcome] : rows)
    {
        script->calls.Clear();
        const String error = Install(request).error;
        auto outcomes = script->GetCalls();
        std::erase_if(outcomes, [](const String& call) { return !call.starts_with("Install"); });
        outcomes.insert(outcomes.end(), error.empty() ? 0 : 1, error);
        EXPECT_THAT(outcomes, ElementsAre(outcome)) << request.version;
    }
    script->SetVersion(FileType::Pending, "");
    EXPECT_THAT(Install().text, HasSubstr("There is no pending version."));
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
    const RequestResult failed = Install();
    EXPECT_EQ(failed.error, "OperationFailed");
    EXPECT_THAT(failed.text, HasSubstr("Failed to start RAUC installation."));
    EXPECT_EQ(Now().state, InstallationState::Failed);
    EXPECT_EQ(Now().lastVerdict.reason, "Failed to start RAUC installation.");
    const RequestResult refused = Install();
    EXPECT_EQ(refused.error, "InvalidState");
    EXPECT_THAT(refused.text, HasSubstr("'resume'"));
    EXPECT_TRUE(Resume().IsOk());
    EXPECT_EQ(Now().state, InstallationState::Idle);
    EXPECT_EQ(Resume().error, "InvalidState");
    script->install = Begin;
    EXPECT_TRUE(Install().IsOk());
}

TEST_F(ComponentTest, DuringAnInstallationNothingElseIsDoneAndThePendingVersionNotAskedFor)
{
    const std::int64_t before = GetUnixTime();
    StartWithPending(InstallRequest{"", false, 60000});
    EXPECT_EQ(Now().state, InstallationState::Installing);
    EXPECT_THAT(Now().nextStart, AllOf(Ge(before + 60'000'000), Le(GetUnixTime() + 60'000'000)));
    for (const RequestResult& result : {Stage(), Install()})
    {
        EXPECT_EQ(result.error, "InvalidState");
        EXPECT_THAT(result.text, HasSubstr("An installation is in progress."));
    }
    component.OnRaucOwnerChanged(true);
    status->SetProgress(Id, 50);
    ASSERT_TRUE(RunUntil([this] { return Now().progress == 50; }));
    EXPECT_THAT(script->GetCalls(), IsEmpty());
    script->SetVersion(FileType::Pending, "");
    status->EndInstallation(Id, false);
    EXPECT_TRUE(RunUntil([this] { return Now().pendingVersion.empty(); }));
    EXPECT_EQ(Now().state, InstallationState::Failed);
}

TEST_F(ComponentTest, OfABurstOfProgressFewAreAnnouncedAndTheLastOneIs)
{
    ASSERT_TRUE(Start().IsOk());
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

TEST_F(ComponentTest, AnInstallationThatWaitsCanBeCalledOff)
{
    StartWithPending();
    EXPECT_EQ(Cancel().error, "InvalidState");
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    script->calls.Clear();
    EXPECT_TRUE(Cancel().IsOk());
    EXPECT_EQ(Now().state, InstallationState::Idle);
    EXPECT_EQ(Now().message, "Called off by A.");
    EXPECT_EQ(component.GetHistory(1).at(0).result, "called-off");
    EXPECT_EQ(script->GetCalls().at(0), "Destroy");
    // There is a new module.
    EXPECT_TRUE(Install({"", false, 60000}).IsOk());
}

TEST_F(ComponentTest, AnInstallationThatRaucWasAskedForIsNotCalledOff)
{
    StartWithPending(InstallRequest());
    EXPECT_THAT(Cancel().text, HasSubstr("has started already"));
    status->EndInstallation(Id, false);
    ASSERT_TRUE(Resume().IsOk());
    // Its time comes while it is called off.
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    rauc.state = RaucState::Busy;
    EXPECT_THAT(Cancel().text, HasSubstr("may have started meanwhile"));
    EXPECT_EQ(Now().state, InstallationState::Installing);
    EXPECT_EQ(startDelays, 1);
}

TEST_F(ComponentTest, AnInspectionAsksAboutACopyAndChangesNothing)
{
    ASSERT_TRUE(Start().IsOk());
    script->calls.Clear();
    for (const bool fits : {true, false})
    {
        bundle = fits ? std::optional(RaucBundle{"2.0.0.0", "Controller"}) : std::nullopt;
        std::optional<Inspection> inspection;
        component.Inspect(OpenBundle(), "A",
                          [&](const RequestResult& result, const Inspection& yielded)
                          {
                              EXPECT_TRUE(result.IsOk());
                              inspection = yielded;
                          });
        ASSERT_TRUE(RunUntil([&] { return inspection.has_value(); }));
        EXPECT_EQ(inspection->version, fits ? "2.0.0.0" : "");
        EXPECT_EQ(inspection->size, 7);
        EXPECT_EQ(inspection->fits, fits);
        EXPECT_EQ(inspection->checks.at(0).grade, fits ? "pass" : "fail");
        EXPECT_TRUE(inspected.starts_with(folder / "delivery"));
        EXPECT_TRUE(RunUntil([this] { return IsDeliveryEmpty(); }));
    }
    EXPECT_THAT(script->GetCalls(), IsEmpty());
}

} // namespace Zel::Host::Service

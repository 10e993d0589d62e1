#include "ComponentFixture.h"

#include "Service/Clock.h"

#include "Support/RecordingLogSink.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <future>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Tests::Support::RecordingLog;
using Tests::Support::TemporaryFolder;

using ComponentTest = ComponentFixture;

TEST_F(ComponentTest, AStagedBundleIsHandedOverAsAFileOfOurOwn)
{
    ASSERT_TRUE(Start().IsOk());
    String content;
    script->stage = [&](const String& path, String& /*message*/)
    {
        content = TemporaryFolder::Read(path);
        std::filesystem::rename(path, folder / "pending");
        script->SetVersion(FileType::Pending, "2.0.0.0");
        return ResultCode::Ok;
    };
    const RequestResult result = Stage("the bundle's content");
    EXPECT_TRUE(result.IsOk()) << result.text;
    EXPECT_EQ(result.text, "2.0.0.0");
    EXPECT_EQ(content, "the bundle's content");
    EXPECT_EQ(component.GetSnapshot().pendingVersion, "2.0.0.0");
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, ARefusedBundleLeavesNothingBehind)
{
    ASSERT_TRUE(Start().IsOk());
    script->stage = [](const String& /*path*/, String& message)
    {
        message = "The verification of the software package failed.";
        return ResultCode::InvalidArgument;
    };
    const RequestResult result = Stage();
    EXPECT_EQ(result.error, "InvalidArgument");
    EXPECT_EQ(result.text,
              "The verification of the software package failed. Use a bundle that is built and signed "
              "for this device.");
    EXPECT_EQ(Stage("").text, "The bundle is empty.");
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, WithoutAnAnswerOfRaucNothingIsTouched)
{
    struct Row
    {
        RaucState state;
        const char* reason;
    };

    ASSERT_TRUE(Start().IsOk());
    script->Clear();
    for (const Row& row :
         {Row{RaucState::Busy, "RAUC is busy."}, Row{RaucState::Silent, "RAUC does not answer."},
          Row{RaucState::Absent, "RAUC is not running."}})
    {
        rauc = row.state;
        const auto revert = [this](const Completion& done) { component.Revert("A", done); };
        for (const RequestResult& result : {Stage(), Install(), Ask(revert)})
        {
            EXPECT_EQ(result.error, "TryLater");
            EXPECT_THAT(result.text, HasSubstr(row.reason));
        }
    }
    EXPECT_THAT(script->GetCalls(), IsEmpty());
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, ASecondRequestIsRefusedWithWhoIsBusy)
{
    ASSERT_TRUE(Start().IsOk());
    std::promise<void> mayEnd;
    script->stage = [&](const String& /*path*/, String& /*message*/)
    {
        mayEnd.get_future().wait();
        return ResultCode::Ok;
    };
    std::optional<RequestResult> first;
    component.Stage(Delivery::FileDescriptor::Open(folder.Write("bundle", "content"), O_RDONLY), "user 7",
                    [&first](const RequestResult& result) { first = result; });
    ASSERT_TRUE(RunUntil(
        [this] { return !script->GetCalls().empty() && script->GetCalls().back() == "SetSoftwarePackage"; }));
    const RequestResult second = Install();
    EXPECT_EQ(second.error, "Busy");
    EXPECT_THAT(second.text, HasSubstr("The request of user 7 to stage a bundle is still under way."));
    mayEnd.set_value();
    EXPECT_TRUE(RunUntil([&] { return first.has_value(); }));
    EXPECT_TRUE(first->IsOk());
}

TEST_F(ComponentTest, InstallChoosesTheVersionThatIsAskedFor)
{
    struct Row
    {
        InstallRequest request;
        const char* call;
        const char* error;
    };

    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->SetVersion(FileType::Fallback, "0.9.0.0");
    ASSERT_TRUE(Start().IsOk());
    const std::vector<Row> rows = {
        {{"", false, 0}, "InstallSoftwarePackage 2.0.0.0", ""},
        {{"2.0.0.0", false, 0}, "InstallSoftwarePackage 2.0.0.0", ""},
        {{"", true, 0}, "InstallSoftwarePackage 0.9.0.0", ""},
        {{"0.9.0.0", true, 0}, "InstallSoftwarePackage 0.9.0.0", ""},
        // The module knows what to say of other versions.
        {{"7.0.0.0", false, 0}, "InstallSoftwarePackage 7.0.0.0", ""},
        {{"7.0.0.0", true, 0}, nullptr, "NotFound"},
        {{String(512, '1'), false, 0}, nullptr, "InvalidArgument"},
        {{"", false, Component::DelayLimit}, nullptr, "InvalidArgument"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.request.version);
        script->Clear();
        EXPECT_EQ(Install(row.request).error, row.error);
        auto calls = script->GetCalls();
        std::erase_if(calls, [](const String& call) { return !call.starts_with("Install"); });
        EXPECT_EQ(calls, row.call == nullptr ? std::vector<String>() : std::vector<String>{row.call});
    }
    script->SetVersion(FileType::Pending, "");
    EXPECT_THAT(Install().text, HasSubstr("There is no pending version."));
}

TEST_F(ComponentTest, AfterAFailedInstallationResumeComesFirst)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = [](IUpdaterStatus& updaterStatus, const String& revision, long long delay)
    {
        const ResultCode begun = Begin(updaterStatus, revision, delay);
        updaterStatus.SetMessage(Id, "Failed to start RAUC installation.", false);
        updaterStatus.EndInstallation(Id, false);
        return begun == ResultCode::Ok ? ResultCode::OperationFailed : begun;
    };
    ASSERT_TRUE(Start().IsOk());
    const RequestResult failed = Install();
    EXPECT_EQ(failed.error, "OperationFailed");
    EXPECT_THAT(failed.text, HasSubstr("Failed to start RAUC installation."));
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Failed);
    EXPECT_EQ(component.GetSnapshot().lastVerdict.reason, "Failed to start RAUC installation.");

    const RequestResult refused = Install();
    EXPECT_EQ(refused.error, "InvalidState");
    EXPECT_THAT(refused.text, HasSubstr("'resume'"));

    EXPECT_TRUE(Resume().IsOk());
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Idle);
    EXPECT_EQ(Resume().error, "InvalidState");
    script->install = Begin;
    EXPECT_TRUE(Install().IsOk());
}

TEST_F(ComponentTest, AnInstallationIsShownBeforeItsRequestIsAnswered)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = Begin;
    ASSERT_TRUE(Start().IsOk());
    const std::int64_t before = GetUnixTime();
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Installing);
    EXPECT_GE(component.GetSnapshot().nextStart, before + 60000000);
    EXPECT_LE(component.GetSnapshot().nextStart, GetUnixTime() + 60000000);
    for (const RequestResult& result : {Stage(), Install()})
    {
        EXPECT_EQ(result.error, "InvalidState");
        EXPECT_THAT(result.text, HasSubstr("An installation is in progress."));
    }
}

TEST_F(ComponentTest, DuringAnInstallationThePendingVersionIsNotAskedFor)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = Begin;
    ASSERT_TRUE(Start().IsOk());
    ASSERT_TRUE(Install().IsOk());
    script->Clear();
    component.OnRaucOwnerChanged(true);
    status->SetProgress(Id, 50);
    ASSERT_TRUE(RunUntil([this] { return component.GetSnapshot().progress == 50; }));
    EXPECT_THAT(script->GetCalls(), IsEmpty());

    script->SetVersion(FileType::Pending, "");
    status->EndInstallation(Id, false);
    EXPECT_TRUE(RunUntil([this] { return component.GetSnapshot().pendingVersion.empty(); }));
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Failed);
    EXPECT_THAT(script->GetCalls(), Contains("GetSoftwareVersion Fallback"));
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
    ASSERT_TRUE(RunUntil([this] { return component.GetSnapshot().progress == 100; }));
    EXPECT_EQ(component.GetSnapshot().message, "Step\\x0A100");
    EXPECT_THAT(changed, ElementsAre("Message", "Progress"));
    EXPECT_LE(announcements, 3);
}

TEST_F(ComponentTest, AnExceptionOfTheModuleBecomesAResult)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = [](IUpdaterStatus&, const String&, long long) -> ResultCode
    { throw Exception("Broken."); };
    ASSERT_TRUE(Start().IsOk());
    const RecordingLog log;
    const RequestResult result = Install();
    EXPECT_EQ(result.error, "OperationFailed");
    EXPECT_THAT(result.text, HasSubstr("Broken."));
    EXPECT_THAT(log->GetLines(), Contains("error ModuleCalls: The module failed: Broken."));
}

TEST_F(ComponentTest, ARequestThatLosesItsModuleIsAnswered)
{
    ASSERT_TRUE(Start().IsOk());
    std::promise<void> mayEnd;
    script->stage = [&](const String& /*path*/, String& /*message*/)
    {
        mayEnd.get_future().wait();
        return ResultCode::InvalidArgument;
    };
    std::optional<RequestResult> staged;
    component.Stage(Delivery::FileDescriptor::Open(folder.Write("bundle", "content"), O_RDONLY), "A",
                    [&staged](const RequestResult& result) { staged = result; });
    component.Drop({[] {}});
    rauc = RaucState::Absent;
    mayEnd.set_value();
    EXPECT_TRUE(RunUntil([&] { return staged.has_value(); }));
    EXPECT_FALSE(staged->IsOk());
    EXPECT_TRUE(RunUntil([this] { return script->GetCalls().back() == "Destroy"; }));
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(ComponentTest, AnInstallationThatWaitsCanBeCalledOff)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = Begin;
    ASSERT_TRUE(Start().IsOk());
    EXPECT_EQ(Cancel().error, "InvalidState");
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    script->Clear();
    EXPECT_TRUE(Cancel().IsOk());
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Idle);
    EXPECT_EQ(component.GetSnapshot().message, "Called off by A.");
    EXPECT_EQ(component.GetHistory(1).at(0).result, "called-off");
    EXPECT_THAT(component.GetHistory(1).at(0).reason, HasSubstr("Called off by A."));
    EXPECT_EQ(script->GetCalls().at(0), "Destroy");
    // There is a new module.
    EXPECT_TRUE(Install({"", false, 60000}).IsOk());
}

TEST_F(ComponentTest, AnInstallationThatRaucWasAskedForIsNotCalledOff)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = Begin;
    ASSERT_TRUE(Start().IsOk());
    ASSERT_TRUE(Install().IsOk());
    EXPECT_THAT(Cancel().text, HasSubstr("has started already"));
    status->EndInstallation(Id, false);
    ASSERT_TRUE(Resume().IsOk());
    // Its time comes while it is called off.
    ASSERT_TRUE(Install({"", false, 60000}).IsOk());
    rauc = RaucState::Busy;
    EXPECT_THAT(Cancel().text, HasSubstr("may have started meanwhile"));
    EXPECT_EQ(component.GetSnapshot().state, InstallationState::Installing);
    EXPECT_EQ(startDelays, 1);
}

TEST_F(ComponentTest, AnInspectionAsksAboutACopyAndChangesNothing)
{
    ASSERT_TRUE(Start().IsOk());
    script->Clear();
    Inspection inspection;
    const auto inspect = [&]
    {
        return Ask(
            [&](const Completion& done)
            {
                component.Inspect(Delivery::FileDescriptor::Open(folder.Write("bundle", "content"), O_RDONLY),
                                  "A",
                                  [&, done](const RequestResult& result, const Inspection& yielded)
                                  {
                                      inspection = yielded;
                                      done(result);
                                  });
            });
    };
    bundle = RaucBundle{"2.0.0.0", "Controller"};
    EXPECT_TRUE(inspect().IsOk());
    EXPECT_EQ(inspection.version, "2.0.0.0");
    EXPECT_EQ(inspection.size, 7);
    EXPECT_TRUE(inspection.fits);
    EXPECT_TRUE(inspected.starts_with(folder / "delivery"));
    bundle.reset();
    EXPECT_TRUE(inspect().IsOk());
    EXPECT_FALSE(inspection.fits);
    EXPECT_EQ(inspection.checks.at(0).grade, "fail");
    EXPECT_TRUE(IsDeliveryEmpty());
    EXPECT_THAT(script->GetCalls(), IsEmpty());
}

} // namespace Zel::Host::Service

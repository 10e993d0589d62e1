#include "Rauc/RaucJourney.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace Zel::Tests
{

class Updates : public RaucJourney
{
};

TEST_F(Updates, GoodBundleIsConfirmedAfterTheRestart)
{
    StageGood(device.MakeBundle("2.0.0.0"));
    EXPECT_EQ(GetVersion(FileType::Pending), "2.0.0.0");
    EXPECT_TRUE(IsPending());

    ASSERT_EQ(Install("2.0.0.0"), ResultCode::Ok);
    WaitForRestart();
    const auto before = GetStatus();
    EXPECT_EQ(before.state, InstallationState::Installing) << "decided before the restart";
    EXPECT_EQ(before.message, "The device is going to reboot.");
    EXPECT_EQ(before.progress, 100);
    EXPECT_THAT(platform.notifications->GetLines(), IsEmpty());
    EXPECT_EQ(device.GetPrimarySlot(), "rootfs.1");

    Restart();
    EXPECT_EQ(device.GetBootedSlot(), "rootfs.1");
    EXPECT_EQ(device.GetSlotVersion("rootfs.1"), "2.0.0.0");
    EXPECT_EQ(GetVersion(FileType::Current), "2.0.0.0");
    EXPECT_EQ(GetStatus().state, InstallationState::Idle);
    EXPECT_TRUE(GetStatus().revertible);
    EXPECT_FALSE(IsPending());
    EXPECT_THAT(
        platform.notifications->GetLines(),
        ElementsAre("Information Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Succeeded "
                    "(Software "
                    "Update): Installation of firmware package (version: 2.0.0.0) successful."));
}

TEST_F(Updates, ProgressOfRaucReachesTheStoreInOrder)
{
    StageGood(device.MakeBundle("2.0.0.0"));
    platform.status->ClearCalls();
    ASSERT_EQ(Install("2.0.0.0"), ResultCode::Ok);
    WaitForRestart();

    auto calls = platform.status->GetCalls();
    // What RAUC told of the staging before may still arrive; the installation's own story begins here.
    calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "SetMessage 'Determining slot states'"));
    std::vector<int> progress;
    for (const auto& call : calls)
    {
        if (call.starts_with("SetProgress "))
        {
            progress.push_back(std::stoi(call.substr(12)));
        }
    }
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.back(), 100);
    EXPECT_THAT(calls, Contains(HasSubstr("Copying image to rootfs.1")));
}

TEST_F(Updates, DeviceThatComesBackOnTheOldSlotHasFailed)
{
    StageGood(device.MakeBundle("2.0.0.0"));
    ASSERT_EQ(Install("2.0.0.0"), ResultCode::Ok);
    WaitForRestart();
    device.NextBootFails();
    Restart();

    EXPECT_EQ(device.GetBootedSlot(), "rootfs.0");
    EXPECT_EQ(GetVersion(FileType::Current), device.GetSlotVersion("rootfs.0"));
    EXPECT_EQ(GetStatus().state, InstallationState::Failed);
    EXPECT_EQ(GetStatus().message, "Expected version is '2.0.0.0'. Current version is '1.0.0.0'.");
    EXPECT_FALSE(GetStatus().revertible);
    EXPECT_FALSE(IsPending());
    EXPECT_THAT(
        platform.notifications->GetLines(),
        ElementsAre(
            "Error Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed (Software "
            "Update): Failed to install firmware package (version: 1.0.0.0). Reason: Expected version "
            "is '2.0.0.0'. Current version is '1.0.0.0'.."));
}

TEST_F(Updates, InstallationThatRaucFailsKeepsTheBundleAndTheSlot)
{
    // RAUC looks at the size of the image only while it writes.
    StageGood(device.MakeBundle("2.0.0.0", {"--image-size", "12582912"}));
    ASSERT_EQ(Install("2.0.0.0"), ResultCode::Ok);
    WaitForEnd();

    const auto status = GetStatus();
    EXPECT_EQ(status.state, InstallationState::Failed);
    EXPECT_THAT(status.message.ToString(), HasSubstr("Failed updating slot rootfs.1"));
    EXPECT_EQ(status.progress, 100) << "as RAUC leaves it";
    EXPECT_TRUE(IsPending());
    EXPECT_EQ(device.GetPrimarySlot(), "rootfs.0");
    EXPECT_EQ(platform.deviceControl->GetRestarts(), 0);
    EXPECT_THAT(platform.notifications->GetLines(), IsEmpty());

    EXPECT_EQ(Install("2.0.0.0"), ResultCode::InvalidState);
    EXPECT_EQ(module->ResumeInstall(platform.ComponentId), ResultCode::Ok);
    EXPECT_EQ(GetStatus().state, InstallationState::Idle);
}

TEST_F(Updates, WithoutRaucNothingIsStartedAndNothingIsLost)
{
    StageGood(device.MakeBundle("2.0.0.0"));
    device.StopRauc();

    String message;
    EXPECT_EQ(Stage(device.MakeBundle("3.0.0.0"), message), ResultCode::InvalidArgument);
    EXPECT_EQ(message, "The verification of the software package failed.");

    EXPECT_EQ(Install("2.0.0.0"), ResultCode::OperationFailed);
    EXPECT_EQ(GetStatus().state, InstallationState::Failed);
    EXPECT_EQ(GetStatus().message, "Failed to get neither booted nor primary slot.");
    EXPECT_TRUE(IsPending());
    EXPECT_THAT(platform.notifications->GetLines(), IsEmpty());

    device.StartRauc();
    EXPECT_EQ(GetVersion(FileType::Pending), "2.0.0.0");
}

} // namespace Zel::Tests

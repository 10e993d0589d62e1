#include "Rauc/RaucJourney.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::SizeIs;

namespace Zel::Tests
{

class WaysBack : public RaucJourney
{
};

TEST_F(WaysBack, FactorySlotIsNoFallback)
{
    Update("2.0.0.0");
    EXPECT_EQ(GetVersion(FileType::Fallback), "") << "RAUC never wrote rootfs.0";
    EXPECT_EQ(Install("1.0.0.0"), ResultCode::NotFound);
    EXPECT_EQ(GetStatus().message,
              "There is not a software package with software revision '1.0.0.0' and patch identifiers ''. ");
}

TEST_F(WaysBack, FallbackIsInstalledAndConfirmed)
{
    Update("2.0.0.0");
    Update("3.0.0.0");
    ASSERT_EQ(device.GetBootedSlot(), "rootfs.0");
    ASSERT_EQ(GetVersion(FileType::Fallback), "2.0.0.0");
    platform.notifications->Clear();

    ASSERT_EQ(Install("2.0.0.0"), ResultCode::Ok);
    WaitForRestart();
    Restart();
    EXPECT_EQ(device.GetBootedSlot(), "rootfs.1");
    EXPECT_EQ(GetVersion(FileType::Current), device.GetSlotVersion("rootfs.1"));
    EXPECT_EQ(GetVersion(FileType::Current), "2.0.0.0");
    EXPECT_EQ(GetVersion(FileType::Fallback), "3.0.0.0");
    EXPECT_EQ(GetStatus().state, InstallationState::Idle);
    EXPECT_THAT(platform.notifications->GetLines(), SizeIs(1));
}

TEST_F(WaysBack, RevertSwitchesBackAndIsToldAsThat)
{
    Update("2.0.0.0");
    platform.notifications->Clear();
    ASSERT_TRUE(GetStatus().revertible);

    EXPECT_EQ(module->RevertInstall(platform.ComponentId), ResultCode::Ok);
    WaitForRestart();
    EXPECT_EQ(GetStatus().state, InstallationState::Installing);
    Restart();

    const String text =
        "Confirm has not been sent. Device switched back to slot 'rootfs.0'. Expected version is "
        "'2.0.0.0'. Current version is '1.0.0.0'.";
    EXPECT_EQ(device.GetBootedSlot(), "rootfs.0");
    EXPECT_EQ(GetVersion(FileType::Current), device.GetSlotVersion("rootfs.0"));
    EXPECT_EQ(GetStatus().state, InstallationState::Failed);
    EXPECT_EQ(GetStatus().message, text);
    EXPECT_FALSE(GetStatus().revertible);
    EXPECT_THAT(
        platform.notifications->GetLines(),
        ElementsAre("Error Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed (Software "
                    "Update): Failed to install firmware package (version: 1.0.0.0). Reason: " +
                    text + "."));

    EXPECT_EQ(module->RevertInstall(platform.ComponentId), ResultCode::AlreadyReverted);
    EXPECT_EQ(module->ResumeInstall(platform.ComponentId), ResultCode::Ok);
}

} // namespace Zel::Tests

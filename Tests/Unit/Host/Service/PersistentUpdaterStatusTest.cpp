#include "Service/PersistentUpdaterStatus.h"

#include "Support/RecordingLogSink.h"
#include "Support/TemporaryFolder.h"
#include "Support/TmpfsMount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::SoftwareUpdateStatus;
using testing::Contains;
using testing::StartsWith;
using Tests::Support::RecordingLog;
using Tests::Support::TemporaryFolder;
using Tests::Support::TmpfsMount;

namespace
{

const String Id = "Controller";
const String Slot = PersistentUpdaterStatus::InstallerSlotProperty;

class PersistentUpdaterStatusTest : public testing::Test
{
protected:
    [[nodiscard]] std::unique_ptr<PersistentUpdaterStatus> Open(const String& path)
    {
        return std::make_unique<PersistentUpdaterStatus>(std::make_shared<StatusStore>(path), "boot-1", 60,
                                                         [this](const String& /*componentId*/)
                                                         { ++changes; });
    }

    [[nodiscard]] String Read(const String& name)
    {
        String value = "before";
        status->ReadProperty(Id, name, value);
        return value;
    }

    [[nodiscard]] SoftwareUpdateStatus Get()
    {
        SoftwareUpdateStatus read;
        EXPECT_TRUE(status->GetStatus(Id, read));
        return read;
    }

    const TemporaryFolder folder;
    std::atomic<int> changes = 0;
    std::unique_ptr<PersistentUpdaterStatus> status = Open(folder.GetPath());
};

} // namespace

TEST_F(PersistentUpdaterStatusTest, AMessageIsCutBetweenCharacters)
{
    // The last character of two bytes would be number 511 and 512.
    status->SetMessage(Id, String(510, 'x') + "ü", false);
    EXPECT_EQ(Get().message.ToString(), String(510, 'x'));
    status->SetMessage(Id, String(509, 'x') + "ü", false);
    EXPECT_EQ(Get().message.ToString(), String(509, 'x') + "ü");
}

TEST_F(PersistentUpdaterStatusTest, ANewStoryDropsTheProgress)
{
    status->SetMessage(Id, "Copying", false);
    status->SetProgress(Id, 40);
    status->SetMessage(Id, "Waiting", false);
    EXPECT_EQ(Get().progress, 40);
    EXPECT_EQ(status->GetComponentStatus(Id)->progressText, "Copying");
    status->SetMessage(Id, "Begin", true);
    EXPECT_EQ(Get().progress, 0);
    EXPECT_EQ(status->GetComponentStatus(Id)->progressText, "");
    EXPECT_EQ(Get().message.ToString(), "Begin");
    EXPECT_EQ(Get().confirmationTimeout, 60);
    EXPECT_EQ(changes, 4);
}

TEST_F(PersistentUpdaterStatusTest, PropertiesAreKeptAsTheirWriterSays)
{
    const String whole(10000, 'x');
    EXPECT_EQ(Read("Unknown"), "");
    ASSERT_TRUE(status->WriteProperty(Id, "Whole", whole, true));
    ASSERT_TRUE(status->WriteProperty(Id, "Fleeting", "value", false));
    ASSERT_TRUE(status->WriteProperty("CONTROLLER", "Deleted", "value", true));
    EXPECT_EQ(Read("Deleted"), "value");
    ASSERT_TRUE(status->WriteProperty(Id, "Deleted", "", true));
    EXPECT_EQ(Read("Deleted"), "");
    EXPECT_EQ(Read("Fleeting"), "value");
    status = Open(folder.GetPath());
    EXPECT_EQ(Read("Whole"), whole);
    EXPECT_EQ(Read("Fleeting"), "");
}

TEST_F(PersistentUpdaterStatusTest, TheRecordTellsHowFarAnInstallationCame)
{
    const auto getRecord = [this] { return status->GetComponentStatus(Id)->record; };
    ASSERT_TRUE(status->WriteProperty(Id, Slot, "", true));
    EXPECT_FALSE(getRecord().prepared);
    status->SetDueTime(Id, 1000);
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    EXPECT_FALSE(getRecord().prepared);
    EXPECT_EQ(getRecord().bootId, "boot-1");
    EXPECT_EQ(getRecord().dueTime, 1000);
    // The call counts, even with an empty value.
    ASSERT_TRUE(status->WriteProperty(Id, Slot, "", true));
    EXPECT_TRUE(getRecord().prepared);
    status->EndInstallation(Id, true);
    EXPECT_FALSE(getRecord().prepared);
    EXPECT_EQ(getRecord().dueTime, 0);
    // The due time was that of one installation; a revert finds its slot recorded.
    ASSERT_TRUE(status->BeginInstallation(Id, false));
    EXPECT_TRUE(getRecord().prepared);
    EXPECT_EQ(getRecord().dueTime, 0);
    // What is called off leaves no verdict, and only what is running can be.
    const auto verdict = status->GetComponentStatus(Id)->lastVerdict;
    EXPECT_TRUE(status->CallOff(Id));
    EXPECT_EQ(getRecord().state, InstallationState::Idle);
    EXPECT_EQ(status->GetComponentStatus(Id)->lastVerdict->time, verdict->time);
    EXPECT_FALSE(status->CallOff(Id));
}

TEST_F(PersistentUpdaterStatusTest, AFailureIsRecordedWithTheMessageThatStands)
{
    ASSERT_TRUE(status->WriteProperty(Id, PersistentUpdaterStatus::TargetVersionProperty, "2.0.0.0", true));
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    status->SetMessage(Id, "signature verification failed", false);
    status->EndInstallation(Id, false);
    const auto failure = status->GetComponentStatus(Id)->lastVerdict;
    ASSERT_TRUE(failure);
    EXPECT_FALSE(failure->succeeded);
    EXPECT_EQ(failure->version, "2.0.0.0");
    EXPECT_EQ(failure->reason, "signature verification failed");
    ASSERT_TRUE(status->ResumeInstallation(Id));
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    status->EndInstallation(Id, true);
    EXPECT_TRUE(status->GetComponentStatus(Id)->lastVerdict->succeeded);
    EXPECT_EQ(status->GetComponentStatus(Id)->lastVerdict->reason, "");
}

TEST_F(PersistentUpdaterStatusTest, AnEndWithoutABeginningChangesNothing)
{
    const RecordingLog log;
    status->EndInstallation(Id, false);
    EXPECT_EQ(Get().state, InstallationState::Idle);
    EXPECT_FALSE(status->GetComponentStatus(Id)->lastVerdict);
    EXPECT_THAT(log->GetLines(),
                Contains("warning PersistentUpdaterStatus: No installation of 'Controller' is "
                         "running that could end."));
}

TEST_F(PersistentUpdaterStatusTest, AFullFileSystemGivesFalseAndIsLogged)
{
    const TmpfsMount mount(std::size_t{256} * 1024);
    status = Open(mount / "state");
    EXPECT_EQ(Get().state, InstallationState::Idle);
    const RecordingLog log;
    EXPECT_FALSE(status->WriteProperty(Id, "Large", String(std::size_t{1024} * 1024, 'x'), true));
    EXPECT_EQ(Read("Large"), "");
    EXPECT_THAT(log->GetLines(),
                Contains(StartsWith("error PersistentUpdaterStatus: WriteProperty: Failed to use "
                                    "the database '")));
    // The next one that fits is taken.
    EXPECT_TRUE(status->WriteProperty(Id, "Small", "x", true));
}

} // namespace Zel::Host::Service

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
const String Slot = StatusStore::InstallerSlotProperty;

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
    status->SetUpcoming(Id, {"user 7", true, "1.0.0.0", "", 1000});
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
    EXPECT_TRUE(status->CallOff(Id, "reason"));
    EXPECT_EQ(getRecord().state, InstallationState::Idle);
    EXPECT_EQ(status->GetComponentStatus(Id)->lastVerdict, verdict);
    EXPECT_FALSE(status->CallOff(Id, "reason"));
}

TEST_F(PersistentUpdaterStatusTest, AFailureIsRecordedWithTheMessageThatStands)
{
    ASSERT_TRUE(status->WriteProperty(Id, StatusStore::TargetVersionProperty, "2.0.0.0", true));
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    status->SetMessage(Id, "signature verification failed", false);
    status->EndInstallation(Id, false);
    const Verdict failure = status->GetComponentStatus(Id)->lastVerdict;
    EXPECT_EQ(failure.result, "failed");
    EXPECT_EQ(failure.version, "2.0.0.0");
    EXPECT_EQ(failure.reason, "signature verification failed");
    ASSERT_TRUE(status->ResumeInstallation(Id));
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    status->EndInstallation(Id, true);
    EXPECT_EQ(status->GetComponentStatus(Id)->lastVerdict.result, "succeeded");
    EXPECT_EQ(status->GetComponentStatus(Id)->lastVerdict.reason, "");
}

TEST_F(PersistentUpdaterStatusTest, TheSlotTellsADeviceThatSwitchedBack)
{
    struct Row
    {
        bool installation;
        const char* laterBoot;
        const char* laterSlot;
        const char* result;
    };

    for (const Row& row : {Row{true, "boot-2", "A", "switched-back"}, Row{true, "boot-2", "B", "failed"},
                           Row{true, "boot-1", "A", "failed"}, Row{true, "boot-2", "", "failed"},
                           Row{false, "boot-2", "B", "switched-back"}, Row{false, "boot-2", "A", "failed"}})
    {
        const TemporaryFolder own;
        const auto begin = Open(own.GetPath());
        begin->SetBootSlot("A");
        ASSERT_TRUE(begin->BeginInstallation(Id, row.installation));
        PersistentUpdaterStatus later(std::make_shared<StatusStore>(own.GetPath()), row.laterBoot, 0, {});
        later.SetBootSlot(row.laterSlot);
        later.EndInstallation(Id, false);
        EXPECT_EQ(later.GetComponentStatus(Id)->lastVerdict.result, row.result)
            << row.laterBoot << row.laterSlot;
    }
}

TEST_F(PersistentUpdaterStatusTest, TheHistoryHasEachStepOnce)
{
    status->SetUpcoming(Id, {"user 7", true, "2.0.0.0", "1.0.0.0", 0});
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    for (const auto& [message, percentage] :
         {std::pair{"Copying", 20}, std::pair{"Copying", 40}, std::pair{"Done", 100}})
    {
        status->SetMessage(Id, message, false);
        status->SetProgress(Id, percentage);
    }
    const auto history = status->GetHistory(Id, 5);
    ASSERT_EQ(history.size(), 1);
    EXPECT_EQ(history[0].kind, "fallback");
    EXPECT_EQ(history[0].caller, "user 7");
    EXPECT_EQ(history[0].to, "1.0.0.0");
    ASSERT_EQ(history[0].steps.size(), 2);
    EXPECT_EQ(history[0].steps[1].text, "Done");
}

TEST_F(PersistentUpdaterStatusTest, AnEndWithoutABeginningChangesNothing)
{
    const RecordingLog log;
    status->EndInstallation(Id, false);
    EXPECT_EQ(Get().state, InstallationState::Idle);
    EXPECT_EQ(status->GetComponentStatus(Id)->lastVerdict, Verdict());
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

#include "Service/PersistentUpdaterStatus.h"

#include "Support/RecordingLog.h"
#include "Support/TmpfsMount.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <thread>

namespace Zel::Host::Service
{

using namespace testing;
using Services::SoftwareUpdate::InstallationState;
using Tests::Support::TemporaryFolder;

struct PersistentUpdaterStatusTest : Test
{
    [[nodiscard]] std::unique_ptr<PersistentUpdaterStatus> Open(const String& path,
                                                                const String& bootId = "boot-1")
    {
        return std::make_unique<PersistentUpdaterStatus>(std::make_shared<StatusStore>(path), bootId, 60,
                                                         [this](auto&) { ++changes; });
    }

    [[nodiscard]] String Read(const String& name)
    {
        String value = "before";
        status->ReadProperty(Id, name, value);
        return value;
    }

    [[nodiscard]] ComponentStatus Get() { return *status->GetComponentStatus(Id); }

    inline static const String Id = "Controller";
    const Tests::Support::TemporaryFolder folder;
    std::atomic<int> changes = 0;
    std::unique_ptr<PersistentUpdaterStatus> status = Open(folder.GetPath());
};

TEST_F(PersistentUpdaterStatusTest, AMessageIsCutBetweenCharactersAndANewStoryDropsTheProgress)
{
    status->SetMessage(Id, "Copying", false);
    status->SetProgress(Id, 40);
    status->SetMessage(Id, "Waiting", false);
    EXPECT_EQ(Get().progressText + std::to_string(Get().progress), "Copying40");
    // The last character of two bytes would be number 511 and 512.
    status->SetMessage(Id, String(510, 'x') + "ü", true);
    EXPECT_EQ(Get().progressText + std::to_string(Get().progress), "0");
    EXPECT_EQ(changes, 4);
    PersistentUpdaterStatus::SoftwareUpdateStatus read;
    EXPECT_TRUE(status->GetStatus(Id, read));
    EXPECT_EQ(read.message.ToString(), String(510, 'x'));
    EXPECT_EQ(read.confirmationTimeout, 60);
}

TEST_F(PersistentUpdaterStatusTest, TheRecordTellsHowFarAnInstallationCame)
{
    const String slot = StatusStore::InstallerSlotProperty;
    ASSERT_TRUE(status->WriteProperty(Id, slot, "", true));
    EXPECT_FALSE(Get().record.prepared);
    status->SetUpcoming(Id, {"user 7", true, "1.0.0.0", "", 1000});
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    EXPECT_FALSE(Get().record.prepared);
    EXPECT_EQ(Get().record.bootId, "boot-1");
    EXPECT_EQ(Get().record.dueTime, 1000);
    const HistoryEntry entry = status->GetHistory(Id, 5).at(0);
    EXPECT_EQ(Join({entry.kind, entry.caller, entry.from}, "|"), "fallback|user 7|1.0.0.0");
    // The call counts, even with an empty value.
    ASSERT_TRUE(status->WriteProperty(Id, slot, "", true));
    EXPECT_TRUE(Get().record.prepared);
    status->EndInstallation(Id, true);
    EXPECT_FALSE(Get().record.prepared);
    // The due time was that of one installation; a revert finds its slot recorded.
    ASSERT_TRUE(status->BeginInstallation(Id, false));
    EXPECT_TRUE(Get().record.prepared);
    EXPECT_EQ(Get().record.dueTime, 0);
    // What is called off leaves no verdict.
    const Verdict verdict = Get().lastVerdict;
    EXPECT_TRUE(status->CallOff(Id, "reason"));
    EXPECT_EQ(Get().lastVerdict, verdict);
}

TEST_F(PersistentUpdaterStatusTest, TheSlotTellsADeviceThatSwitchedBack)
{
    using Row = std::tuple<bool, const char*, const char*, const char*>;
    for (const auto& [installation, boot, slot, result] :
         {Row{true, "boot-2", "A", "switched-back"}, Row{true, "boot-2", "B", "failed"},
          Row{true, "boot-1", "A", "failed"}, Row{true, "boot-2", "", "failed"},
          Row{false, "boot-2", "B", "switched-back"}, Row{false, "boot-2", "A", "failed"}})
    {
        const Tests::Support::TemporaryFolder own;
        status = Open(own.GetPath());
        status->SetBootSlot("A");
        ASSERT_TRUE(status->BeginInstallation(Id, installation));
        status->AddRestart(Id);
        status = Open(own.GetPath(), boot);
        status->SetBootSlot(slot);
        status->EndInstallation(Id, false);
        EXPECT_EQ(Get().lastVerdict.result, result) << boot << slot;
    }
}

TEST_F(PersistentUpdaterStatusTest, ASlotThatCannotBeMarkedAsRecordedIsNotRecorded)
{
    const String slot = StatusStore::InstallerSlotProperty;
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    Database(folder / StatusStore::FileName)
        .Execute("CREATE TRIGGER refuse BEFORE UPDATE ON component BEGIN SELECT RAISE(ABORT, 'full'); END");
    EXPECT_FALSE(status->WriteProperty(Id, slot, "rootfs.0", true));
    EXPECT_EQ(Read(slot), "");
}

TEST_F(PersistentUpdaterStatusTest, AStoreThatDoesNotTellIsAskedAgainAndARefusedChangeIsNotShown)
{
    const auto run = [this](auto* text) { Database(folder / StatusStore::FileName).Execute(text); };
    run("ALTER TABLE component RENAME TO lost");
    PersistentUpdaterStatus::SoftwareUpdateStatus read;
    EXPECT_FALSE(status->GetStatus(Id, read));
    EXPECT_FALSE(status->GetComponentStatus(Id) || status->FindProperty(Id, "Name"));
    run("ALTER TABLE lost RENAME TO component");
    EXPECT_EQ(Get().record.state, InstallationState::Idle);
    run("CREATE TRIGGER refuse BEFORE UPDATE ON component BEGIN SELECT RAISE(ABORT, 'full'); END");
    EXPECT_FALSE(status->BeginInstallation(Id, true));
    EXPECT_EQ(Get().record.state, InstallationState::Idle);
    run("DROP TRIGGER refuse");
    EXPECT_TRUE(status->BeginInstallation(Id, true));
    EXPECT_EQ(Get().record.state, InstallationState::Installing);
}

TEST_F(PersistentUpdaterStatusTest, WhatIsKnownIsToldWhileAnotherThreadWritesToTheStore)
{
    const auto store = std::make_shared<StatusStore>(folder / "own");
    status = std::make_unique<PersistentUpdaterStatus>(store, "boot-1", 60, nullptr);
    status->SetUpcoming(Id, {"", false, "", "", 1000});
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    Database other(folder / "own/status.sqlite");
    std::optional<Database::Transaction> held(std::in_place, other);
    std::atomic<bool> written = false;
    std::thread writer(
        [&]
        {
            status->AddStep(Id, "Copying");
            written = true;
        });
    // It is in the store as soon as that has no answer for others.
    std::future<void> probe;
    do
    {
        probe = std::async(std::launch::async, [&] { static_cast<void>(store->GetNotifications(1)); });
    } while (!written && probe.wait_for(std::chrono::milliseconds(10)) == std::future_status::ready);
    EXPECT_EQ(Get().record.dueTime, 1000);
    EXPECT_FALSE(written);
    held.reset();
    writer.join();
    EXPECT_EQ(Get().record.dueTime, 0);
}

TEST_F(PersistentUpdaterStatusTest, AFullFileSystemGivesFalseAndIsLogged)
{
    const Tests::Support::TmpfsMount mount(std::size_t{256} * 1024);
    status = Open(mount / "state");
    EXPECT_EQ(Get().record.state, ComponentRecord::State::Idle);
    const Tests::Support::RecordingLog log;
    EXPECT_FALSE(status->WriteProperty(Id, "Large", String(std::size_t{1024} * 1024, 'x'), true));
    EXPECT_EQ(Read("Large"), "");
    EXPECT_THAT(log.GetLines(), Contains(StartsWith("error PersistentUpdaterStatus: WriteProperty: Failed to "
                                                    "use the database '")));
    // The next one that fits is taken; one that is not persistent is gone after a restart.
    EXPECT_TRUE(status->WriteProperty(Id, "Small", "x", true) &&
                status->WriteProperty(Id, "Fleeting", "x", false));
    EXPECT_EQ(Read("Small") + Read("Fleeting"), "xx");
    status = Open(mount / "state");
    EXPECT_EQ(Read("Small") + Read("Fleeting"), "x");
}

} // namespace Zel::Host::Service

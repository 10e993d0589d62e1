#include "Service/StatusStore.h"

#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using testing::HasSubstr;
using Tests::Support::TemporaryFolder;

namespace
{

const String Id = "Controller 750";
const String Target = "TargetSoftwareRevision";

[[nodiscard]] String GetOpeningError(const String& folder)
{
    try
    {
        const StatusStore store(folder);
    }
    catch (const DatabaseException& exception)
    {
        return exception.GetMessage();
    }
    return "";
}

mode_t GetMode(const String& path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777;
}

/// Brings a new component into a state.
void Reach(StatusStore& store, InstallationState state)
{
    if (state != InstallationState::Idle)
    {
        ASSERT_TRUE(store.Begin(Id, true, "boot", 0));
    }
    if (state == InstallationState::Failed)
    {
        ASSERT_TRUE(store.End(Id, Target, false, "reason"));
    }
}

} // namespace

TEST(StatusStoreTest, EachStateAllowsItsOwnChangesOnly)
{
    const std::function begin = [](StatusStore& store) { return store.Begin(Id, true, "boot", 0); };
    const std::function revert = [](StatusStore& store) { return store.Begin(Id, false, "boot", 0); };
    const std::function succeed = [](StatusStore& store) { return store.End(Id, Target, true, ""); };
    const std::function fail = [](StatusStore& store) { return store.End(Id, Target, false, "reason"); };
    const std::function resume = [](StatusStore& store) { return store.Resume(Id); };

    struct Row
    {
        const char* name;
        const std::function<bool(StatusStore&)>& change;
        InstallationState from;
        InstallationState to;
    };

    using State = InstallationState;
    // What is not a row of its own changes nothing.
    const std::vector<Row> rows = {{"begin", begin, State::Idle, State::Installing},
                                   {"revert", revert, State::Idle, State::Installing},
                                   {"succeed", succeed, State::Installing, State::Idle},
                                   {"fail", fail, State::Installing, State::Failed},
                                   {"resume", resume, State::Failed, State::Idle}};
    for (const Row& row : rows)
    {
        for (const State from : {State::Idle, State::Installing, State::Failed})
        {
            SCOPED_TRACE(String(row.name) + " from " + ToString(from));
            const TemporaryFolder folder;
            StatusStore store(folder / "state");
            Reach(store, from);
            const bool allowed = from == row.from;
            EXPECT_EQ(row.change(store), allowed);
            EXPECT_EQ(store.GetComponent(Id).state, allowed ? row.to : from);
        }
    }
}

TEST(StatusStoreTest, OfTwoThreadsThatBeginOneSucceeds)
{
    const TemporaryFolder folder;
    StatusStore store(folder.GetPath());
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<int> begun = 0;
        const auto begin = [&] { begun += store.Begin(Id, true, "boot", 0) ? 1 : 0; };
        std::thread first(begin);
        std::thread second(begin);
        first.join();
        second.join();
        EXPECT_EQ(begun, 1);
        ASSERT_TRUE(store.End(Id, Target, true, ""));
    }
}

TEST(StatusStoreTest, AnInstallationMakesRevertibleAndARevertLeavesItSo)
{
    const TemporaryFolder folder;
    StatusStore store(folder.GetPath());
    ASSERT_TRUE(store.Begin(Id, false, "boot", 0));
    ASSERT_TRUE(store.End(Id, Target, true, ""));
    EXPECT_FALSE(store.GetComponent(Id).revertible);
    ASSERT_TRUE(store.Begin(Id, true, "boot", 0));
    EXPECT_FALSE(store.GetComponent(Id).revertible);
    ASSERT_TRUE(store.End(Id, Target, false, "reason"));
    EXPECT_TRUE(store.GetComponent(Id).revertible);
    ASSERT_TRUE(store.Resume(Id));
    ASSERT_TRUE(store.Begin(Id, false, "boot", 0));
    ASSERT_TRUE(store.End(Id, Target, false, "reason"));
    EXPECT_TRUE(store.GetComponent(Id).revertible);
}

TEST(StatusStoreTest, EverythingIsThereAfterReopening)
{
    const TemporaryFolder folder;
    const String text = "Größe\n" + String(5000, 'x');
    const DateTime moment = DateTime::FromIso8601String("2026-11-21T08:00:00.25Z");
    {
        StatusStore store(folder.GetPath());
        ASSERT_TRUE(store.Begin(Id, true, "boot-1", 0));
        store.WriteProperty(Id, Target, "2.0.0.0");
        ASSERT_TRUE(store.End(Id, Target, false, "It did not boot."));
        ASSERT_TRUE(store.Resume(Id));
        store.WriteProperty(Id, "Long", text);
        ASSERT_TRUE(store.Begin(Id, true, "boot-2", 1234567890123456));
        store.SetPrepared(Id);
        store.AddNotification({"Name", "Sender", System::Nm::Severity::Error, moment, "Message"});
    }
    StatusStore store(folder.GetPath());
    // Letter case does not count.
    const ComponentRecord record = store.GetComponent("CONTROLLER 750");
    EXPECT_EQ(record.state, InstallationState::Installing);
    EXPECT_TRUE(record.revertible);
    EXPECT_TRUE(record.begunAsInstallation);
    EXPECT_TRUE(record.prepared);
    EXPECT_EQ(record.bootId, "boot-2");
    EXPECT_EQ(record.dueTime, 1234567890123456);
    EXPECT_EQ(store.ReadProperty("controller 750", "Long"), text);
    const auto verdict = store.GetLastVerdict(Id);
    ASSERT_TRUE(verdict);
    EXPECT_FALSE(verdict->succeeded);
    EXPECT_EQ(verdict->version, "2.0.0.0");
    EXPECT_EQ(verdict->reason, "It did not boot.");
    const auto notifications = store.GetNotifications(10);
    ASSERT_EQ(notifications.size(), 1);
    EXPECT_EQ(notifications[0].name, "Name");
    EXPECT_EQ(notifications[0].sender, "Sender");
    EXPECT_EQ(notifications[0].severity, System::Nm::Severity::Error);
    EXPECT_EQ(notifications[0].timestamp, moment);
    EXPECT_EQ(notifications[0].message, "Message");
}

TEST(StatusStoreTest, ItsFilesAreClosedToOthers)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "state");
    ASSERT_EQ(chmod((folder / "state").c_str(), 0755), 0);
    StatusStore store(folder / "state");
    static_cast<void>(store.GetComponent(Id));
    EXPECT_EQ(GetMode(folder / "state"), 0700);
    for (const char* name : {"state/status.sqlite", "state/status.sqlite-wal", "state/status.sqlite-shm"})
    {
        EXPECT_EQ(GetMode(folder / name), 0600) << name;
    }
}

TEST(StatusStoreTest, ADamagedFileIsRefusedWithItsName)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.Write("status.sqlite",
                                   "This is not a database, whatever its name says. " + String(4096, 'x')));
    EXPECT_THAT(GetOpeningError(folder.GetPath()),
                HasSubstr("The database '" + folder.GetPath() + "/status.sqlite' is damaged: "));
}

TEST(StatusStoreTest, AFileWithADamagedPageIsRefused)
{
    const TemporaryFolder folder;
    {
        StatusStore store(folder.GetPath());
        store.WriteProperty(Id, "Long", String(20000, 'x'));
    }
    String content = TemporaryFolder::Read(folder / "status.sqlite");
    // The schema's page stays, those of the tables do not.
    constexpr std::size_t PageSize = 4096;
    content.replace(PageSize, 3 * PageSize, 3 * PageSize, '\xFF');
    static_cast<void>(folder.Write("status.sqlite", content));
    EXPECT_THAT(GetOpeningError(folder.GetPath()), HasSubstr("is damaged: "));
}

TEST(StatusStoreTest, AFileOfANewerServiceIsRefused)
{
    const TemporaryFolder folder;
    {
        const StatusStore store(folder.GetPath());
    }
    Database(folder / "status.sqlite").Execute("PRAGMA user_version = 2");
    EXPECT_EQ(GetOpeningError(folder.GetPath()),
              "The status store was written by a newer service: its schema is 2, "
              "this service knows 1.");
}

} // namespace Zel::Host::Service

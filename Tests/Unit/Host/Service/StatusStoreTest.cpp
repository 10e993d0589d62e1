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
const String& Target = StatusStore::TargetVersionProperty;

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

[[nodiscard]] bool Begin(StatusStore& store, bool installation = true)
{
    Beginning beginning;
    beginning.installation = installation;
    beginning.bootId = "boot";
    return store.Begin(Id, beginning);
}

[[nodiscard]] bool Fail(StatusStore& store)
{
    return store.End(Id, false, HistoryEntry::Failed, "reason");
}

[[nodiscard]] bool Succeed(StatusStore& store)
{
    return store.End(Id, true, HistoryEntry::Succeeded, "");
}

/// Brings a new component into a state.
void Reach(StatusStore& store, InstallationState state)
{
    if (state != InstallationState::Idle)
    {
        ASSERT_TRUE(Begin(store));
    }
    if (state == InstallationState::Failed)
    {
        ASSERT_TRUE(Fail(store));
    }
}

} // namespace

TEST(StatusStoreTest, EachStateAllowsItsOwnChangesOnly)
{
    const std::function begin = [](StatusStore& store) { return Begin(store); };
    const std::function revert = [](StatusStore& store) { return Begin(store, false); };
    const std::function succeed = [](StatusStore& store) { return Succeed(store); };
    const std::function fail = [](StatusStore& store) { return Fail(store); };
    const std::function callOff = [](StatusStore& store) { return store.CallOff(Id, "reason"); };
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
                                   {"call off", callOff, State::Installing, State::Idle},
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
        const auto begin = [&] { begun += Begin(store) ? 1 : 0; };
        std::thread first(begin);
        std::thread second(begin);
        first.join();
        second.join();
        EXPECT_EQ(begun, 1);
        ASSERT_TRUE(Succeed(store));
    }
}

TEST(StatusStoreTest, AnInstallationMakesRevertibleAndARevertLeavesItSo)
{
    const TemporaryFolder folder;
    StatusStore store(folder.GetPath());
    ASSERT_TRUE(Begin(store, false));
    ASSERT_TRUE(Succeed(store));
    EXPECT_FALSE(store.GetComponent(Id).revertible);
    ASSERT_TRUE(Begin(store));
    EXPECT_FALSE(store.GetComponent(Id).revertible);
    ASSERT_TRUE(Fail(store));
    EXPECT_TRUE(store.GetComponent(Id).revertible);
    ASSERT_TRUE(store.Resume(Id));
    ASSERT_TRUE(Begin(store, false));
    ASSERT_TRUE(Fail(store));
    EXPECT_TRUE(store.GetComponent(Id).revertible);
}

TEST(StatusStoreTest, EverythingIsThereAfterReopening)
{
    const TemporaryFolder folder;
    const String text = "Größe\n" + String(5000, 'x');
    const DateTime moment = DateTime::FromIso8601String("2026-11-21T08:00:00.25Z");
    {
        StatusStore store(folder.GetPath());
        Beginning beginning;
        beginning.caller = "user 0";
        beginning.from = "1.0.0.0";
        beginning.to = "1.5.0.0";
        ASSERT_TRUE(store.Begin(Id, beginning));
        store.WriteProperty(Id, Target, "2.0.0.0");
        store.WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.0");
        store.AddStep(Id, "Copying image");
        ASSERT_TRUE(store.End(Id, false, HistoryEntry::SwitchedBack, "It did not boot."));
        store.AddStep(Id, "Behind the end");
        ASSERT_TRUE(store.Resume(Id));
        store.WriteProperty(Id, "Long", text);
        ASSERT_TRUE(Begin(store));
        ASSERT_TRUE(store.CallOff(Id, "Called off."));
        beginning = {true, "boot-2", "A", 1234567890123456, HistoryEntry::Fallback, "user 7", "", ""};
        ASSERT_TRUE(store.Begin(Id, beginning));
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
    EXPECT_EQ(record.bootSlot, "A");
    const Verdict verdict = store.GetLastVerdict(Id);
    EXPECT_EQ(verdict.result, "switched-back");
    EXPECT_EQ(verdict.version, "2.0.0.0");
    EXPECT_EQ(verdict.reason, "It did not boot.");
    const auto history = store.GetHistory(Id, 10);
    ASSERT_EQ(history.size(), 3);
    EXPECT_EQ(history[0].kind, "fallback");
    EXPECT_EQ(history[0].ended, 0);
    EXPECT_EQ(history[1].result, "called-off");
    EXPECT_EQ(history[2].kind, "install");
    EXPECT_EQ(history[2].caller, "user 0");
    EXPECT_EQ(history[2].from, "1.0.0.0");
    EXPECT_EQ(history[2].to, "2.0.0.0");
    EXPECT_EQ(history[2].slot, "rootfs.0");
    EXPECT_EQ(history[2].ended, verdict.time);
    ASSERT_EQ(history[2].steps.size(), 1);
    EXPECT_EQ(history[2].steps[0].text, "Copying image");
    EXPECT_EQ(store.GetHistory(Id, 1).size(), 1);
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

TEST(StatusStoreTest, ADamagedFileIsSetAsideAndTheStoreBeginsEmpty)
{
    const TemporaryFolder folder;
    {
        StatusStore store(folder.GetPath());
        store.WriteProperty(Id, "Long", String(20000, 'x'));
    }
    String page = TemporaryFolder::Read(folder / StatusStore::FileName);
    // The schema's page stays, those of the tables do not.
    constexpr std::size_t PageSize = 4096;
    page.replace(PageSize, 3 * PageSize, 3 * PageSize, '\xFF');
    for (const String& content :
         {page, "This is not a database, whatever its name says." + String(4096, 'x')})
    {
        static_cast<void>(folder.Write(StatusStore::FileName, content));
        StatusStore store(folder.GetPath());
        EXPECT_THAT(store.GetDamage(), HasSubstr("status.sqlite' is damaged: "));
        const String aside =
            store.GetDamage().substr(store.GetDamage().find(folder / "status.sqlite.damaged-"));
        EXPECT_EQ(TemporaryFolder::Read(aside.substr(0, aside.find('\''))), content);
        EXPECT_EQ(store.ReadProperty(Id, "Long"), "");
        ASSERT_TRUE(Begin(store));
    }
    EXPECT_EQ(StatusStore(folder.GetPath()).GetDamage(), "");
}

TEST(StatusStoreTest, AFileOfTheFirstEditionIsBroughtUpToDate)
{
    const TemporaryFolder folder;
    Database(folder / StatusStore::FileName).Execute(R"(
CREATE TABLE component (key INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, state INTEGER NOT NULL DEFAULT 0,
    revertible INTEGER NOT NULL DEFAULT 0, begun_as_installation INTEGER NOT NULL DEFAULT 0,
    phase INTEGER NOT NULL DEFAULT 0 CHECK (phase BETWEEN 0 AND 3), boot_id TEXT NOT NULL DEFAULT '',
    due_time INTEGER NOT NULL DEFAULT 0) STRICT;
CREATE TABLE property (component INTEGER NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL,
    PRIMARY KEY (component, name)) STRICT, WITHOUT ROWID;
CREATE TABLE verdict (key INTEGER PRIMARY KEY AUTOINCREMENT, component INTEGER NOT NULL,
    succeeded INTEGER NOT NULL, version TEXT NOT NULL, reason TEXT NOT NULL, time INTEGER NOT NULL) STRICT;
CREATE TABLE notification (key INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL, sender TEXT NOT NULL,
    severity INTEGER NOT NULL, time INTEGER NOT NULL, message TEXT NOT NULL) STRICT;
INSERT INTO component VALUES (1, 'controller 750', 1, 1, 1, 2, 'boot', 77);
INSERT INTO verdict VALUES (1, 1, 0, '2.0.0.0', 'reason', 42);
PRAGMA user_version = 1;)");
    StatusStore store(folder.GetPath());
    EXPECT_EQ(store.GetComponent(Id).state, InstallationState::Installing);
    EXPECT_TRUE(store.GetComponent(Id).prepared);
    EXPECT_EQ(store.GetLastVerdict(Id), (Verdict{"failed", "2.0.0.0", "reason", 42}));
}

TEST(StatusStoreTest, AFileOfANewerServiceIsRefused)
{
    const TemporaryFolder folder;
    {
        const StatusStore store(folder.GetPath());
    }
    Database(folder / "status.sqlite").Execute("PRAGMA user_version = 3");
    EXPECT_EQ(GetOpeningError(folder.GetPath()),
              "The status store was written by a newer service: its schema is 3, "
              "this service knows 2.");
}

} // namespace Zel::Host::Service

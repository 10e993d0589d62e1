#include "Service/StatusStore.h"

#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

namespace Zel::Host::Service
{

using namespace testing;
using Services::SoftwareUpdate::InstallationState;
using Tests::Support::TemporaryFolder;

const String Id = "Controller 750";

using Change = std::function<bool(StatusStore& store)>;

const Change Begin = [](StatusStore& store) { return store.Begin(Id, {}); };
const Change Revert = [](StatusStore& store) {
    return store.Begin(Id, {false, "", "", 0, Api::Kind::Revert, "", "", ""});
};
const Change Succeed = [](auto& store) { return store.End(Id, true, Api::Result::Succeeded, ""); };
const Change Fail = [](auto& store) { return store.End(Id, false, Api::Result::Failed, "reason"); };
const Change CallOff = [](auto& store) { return store.CallOff(Id, "reason"); };
const Change Resume = [](auto& store) { return store.Resume(Id); };

struct StatusStoreTest : Test
{
    const TemporaryFolder folder;
};

TEST_F(StatusStoreTest, EachStateAllowsItsOwnChangesOnly)
{
    using State = InstallationState;
    // What is not a row of its own changes nothing.
    const std::vector<std::tuple<const char*, Change, State, State>> rows = {
        {"begin", Begin, State::Idle, State::Installing},
        {"revert", Revert, State::Idle, State::Installing},
        {"succeed", Succeed, State::Installing, State::Idle},
        {"fail", Fail, State::Installing, State::Failed},
        {"call off", CallOff, State::Installing, State::Idle},
        {"resume", Resume, State::Failed, State::Idle}};
    for (const auto& [name, change, allowedFrom, to] : rows)
    {
        for (const State from : {State::Idle, State::Installing, State::Failed})
        {
            SCOPED_TRACE(String(name) + " from " + ToString(from));
            const TemporaryFolder folder;
            StatusStore store(folder / "state");
            ASSERT_TRUE(from == State::Idle || Begin(store));
            ASSERT_TRUE(from != State::Failed || Fail(store));
            EXPECT_EQ(change(store), from == allowedFrom);
            EXPECT_EQ(store.GetComponent(Id).state, from == allowedFrom ? to : from);
        }
    }
}

TEST_F(StatusStoreTest, OfTwoThreadsThatBeginOneSucceeds)
{
    StatusStore store(folder.GetPath());
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<int> begun = 0;
        const auto begin = [&] { begun += Begin(store) ? 1 : 0; };
        std::thread other(begin);
        begin();
        other.join();
        EXPECT_EQ(begun, 1);
        ASSERT_TRUE(Succeed(store));
    }
}

TEST_F(StatusStoreTest, AnInstallationMakesRevertibleAndARevertLeavesItSo)
{
    StatusStore store(folder.GetPath());
    const std::vector<std::pair<Change, bool>> steps = {{Revert, false}, {Succeed, false}, {Begin, false},
                                                        {Fail, true},    {Resume, true},   {Revert, true},
                                                        {Fail, true}};
    for (const auto& [change, revertible] : steps)
    {
        ASSERT_TRUE(change(store));
        EXPECT_EQ(store.GetComponent(Id).revertible, revertible);
    }
}

TEST_F(StatusStoreTest, EverythingIsThereAfterReopening)
{
    const String text = "Größe\n" + String(5000, 'x');
    const DateTime moment = DateTime::FromIso8601String("2026-11-21T08:00:00.25Z");
    {
        StatusStore store(folder.GetPath());
        store.WriteProperty(Id, "Long", text);
        store.AddNotification({"Name", "Sender", System::Nm::Severity::Error, moment, text});
        ASSERT_TRUE(Begin(store) && Fail(store));
        store.AddStep(Id, "Behind the end");
        ASSERT_TRUE(Resume(store));
        ASSERT_TRUE(store.Begin(Id, {true, "boot-2", "A", 123456, Api::Kind::Fallback, "", "", ""}));
        store.WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.0");
    }
    StatusStore store(folder.GetPath());
    // Letter case does not count.
    EXPECT_EQ(store.ReadProperty("controller 750", "Long"), text);
    const auto [state, revertible, begunAsInstallation, prepared, bootId, bootSlot, dueTime, restartOrdered] =
        store.GetComponent("CONTROLLER 750");
    EXPECT_EQ(state, InstallationState::Installing);
    EXPECT_TRUE(revertible && begunAsInstallation && prepared && dueTime == 123456 && !restartOrdered);
    EXPECT_EQ(bootId + bootSlot, "boot-2A");
    EXPECT_EQ(store.GetLastVerdict(Id).reason, "reason");
    EXPECT_THAT(store.GetHistory(Id, 10),
                ElementsAre(Field(&HistoryEntry::kind, "fallback"), Field(&HistoryEntry::steps, IsEmpty())));
    EXPECT_THAT(store.GetHistory(Id, 1), ElementsAre(Field(&HistoryEntry::ended, 0)));
    // What RAUC is at waits no longer.
    store.AddRestart(Id);
    EXPECT_TRUE(store.GetComponent(Id).restartOrdered && store.GetComponent(Id).dueTime == 0);
    const System::Nm::Notification notification = store.GetNotifications(10).at(0);
    EXPECT_EQ(notification.name + notification.sender + notification.message, "NameSender" + text);
    EXPECT_TRUE(notification.severity == System::Nm::Severity::Error && notification.timestamp == moment);
}

TEST_F(StatusStoreTest, TheHistoryGivesEachEntryItsStepsAndTellsWhereTheRunningVersionCameFrom)
{
    StatusStore store(folder.GetPath());
    using Row = std::tuple<const char*, const char*, const char*, int>;
    for (const auto& [from, to, result, steps] :
         {Row{"0.8", "1.0", "succeeded", 2}, Row{"0.9", "1.0", "succeeded", 0},
          Row{"1.0", "2.0", "failed", 1}, Row{"2.0", "1.0", "switched-back", 3}})
    {
        ASSERT_TRUE(store.Begin(Id, {true, "", "", 0, Api::Kind::Install, "", from, to}));
        // Another one's are not taken for it.
        static_cast<void>(store.Begin("Other", {}));
        for (int step = 0; step < steps; ++step)
        {
            store.AddStep(Id, from + std::to_string(step));
            store.AddStep("Other", "Step");
        }
        ASSERT_TRUE(store.End(Id, true, result, ""));
        static_cast<void>(store.End("Other", true, result, ""));
    }
    String told;
    for (const HistoryEntry& entry : store.GetHistory(Id, 3))
    {
        told += entry.from;
        for (const auto& step : entry.steps)
        {
            told += "," + step.text;
        }
        told += ";";
    }
    EXPECT_EQ(told, "2.0,2.00,2.01,2.02;1.0,1.00;0.9;");
    EXPECT_EQ(store.FindEarlierVersion(Id, "1.0"), "0.9");
    EXPECT_EQ(store.FindEarlierVersion(Id, "2.0"), std::nullopt);
}

TEST_F(StatusStoreTest, ItsFilesAreClosedToOthers)
{
    std::filesystem::create_directory(folder / "state");
    ASSERT_EQ(chmod((folder / "state").c_str(), 0755), 0);
    StatusStore store(folder / "state");
    static_cast<void>(store.GetComponent(Id));
    for (const char* const name : {"", "status.sqlite", "status.sqlite-wal", "status.sqlite-shm"})
    {
        const auto mode = std::filesystem::status(folder / "state/" + name).permissions();
        EXPECT_EQ(mode, std::filesystem::perms{*name == '\0' ? 0700U : 0600U}) << name;
    }
}

TEST_F(StatusStoreTest, ADamagedFileIsSetAsideAndTheStoreBeginsEmpty)
{
    StatusStore(folder.GetPath()).WriteProperty(Id, "Long", String(20000, 'x'));
    String page = TemporaryFolder::Read(folder / StatusStore::FileName);
    // The schema's page stays, those of the tables do not.
    constexpr std::size_t PageSize = 4096;
    page.replace(PageSize, 3 * PageSize, 3 * PageSize, '\xFF');
    for (const String& content : {page, "This is no database, whatever its name says." + String(4096, 'x')})
    {
        folder.Write(StatusStore::FileName, content);
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

TEST_F(StatusStoreTest, AFileOfTheFirstSchemaVersionIsBroughtUpToDate)
{
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

TEST_F(StatusStoreTest, AFileOfANewerServiceIsReadIfItMayBeAndSetAsideIfNot)
{
    static_cast<void>(StatusStore(folder.GetPath()).Begin(Id, {}));
    for (const auto& [oldestReader, state, damage] :
         {std::tuple{"3", InstallationState::Installing, ""},
          {"9", InstallationState::Idle,
           "written by a newer service: its schema is 9, this service knows 3. It"}})
    {
        Database(folder / "status.sqlite")
            .Execute((String("PRAGMA user_version = 9; PRAGMA application_id = ") + oldestReader).c_str());
        StatusStore store(folder.GetPath());
        EXPECT_THAT(store.GetDamage(), HasSubstr(damage));
        EXPECT_EQ(store.GetComponent(Id).state, state);
    }
    EXPECT_THAT(folder.GetNames(), Contains(StartsWith("status.sqlite.newer-")));
}

TEST_F(StatusStoreTest, OnlyTheLatestFilesOfAKindAreKeptWhateverTheClockSays)
{
    const String path = folder / StatusStore::FileName;
    // One was set aside when the clock was far ahead.
    for (const char* const name : {".newer-7", ".damaged-7", ".damaged-7-wal", ".damaged-8", ".damaged-9-wal",
                                   ".damaged-9000000000000000"})
    {
        folder.Write(StatusStore::FileName + name, "");
    }
    folder.Write(StatusStore::FileName, "This is no database.");
    const String damage = StatusStore(folder.GetPath()).GetDamage();
    const String aside = damage.substr(damage.find(path + ".damaged-")).substr(path.size());
    EXPECT_THAT(folder.GetNames(),
                UnorderedElementsAre(StatusStore::FileName, "status.sqlite.newer-7",
                                     "status.sqlite.damaged-9-wal", "status.sqlite.damaged-9000000000000000",
                                     StatusStore::FileName + aside.substr(0, aside.find('\''))));
}

} // namespace Zel::Host::Service

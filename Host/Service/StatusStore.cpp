#include "Service/StatusStore.h"

#include "Service/Clock.h"
#include "Service/OwnFolder.h"

#include "Zel/System/Core/Format.h"

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;

namespace
{

constexpr std::int64_t SchemaVersion = 1;

constexpr const char* Schema = R"(
CREATE TABLE component
(
    key INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    state INTEGER NOT NULL DEFAULT 0 CHECK (state BETWEEN 0 AND 2),
    revertible INTEGER NOT NULL DEFAULT 0,
    begun_as_installation INTEGER NOT NULL DEFAULT 0,
    prepared INTEGER NOT NULL DEFAULT 0,
    boot_id TEXT NOT NULL DEFAULT '',
    due_time INTEGER NOT NULL DEFAULT 0
) STRICT;
CREATE TABLE property
(
    component INTEGER NOT NULL REFERENCES component (key),
    name TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY (component, name)
) STRICT, WITHOUT ROWID;
CREATE TABLE verdict
(
    key INTEGER PRIMARY KEY AUTOINCREMENT,
    component INTEGER NOT NULL REFERENCES component (key),
    succeeded INTEGER NOT NULL,
    version TEXT NOT NULL,
    reason TEXT NOT NULL,
    time INTEGER NOT NULL
) STRICT;
CREATE TABLE notification
(
    key INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL,
    sender TEXT NOT NULL,
    severity INTEGER NOT NULL,
    time INTEGER NOT NULL,
    message TEXT NOT NULL
) STRICT;
PRAGMA user_version = 1;
)";

} // namespace

StatusStore::StatusStore(const String& folder) : database(PrepareOwnFolder(folder) + "/status.sqlite")
{
    CreateSchema();
}

void StatusStore::CreateSchema()
{
    Database::Transaction transaction(database);
    Database::Statement query = database.Prepare("PRAGMA user_version");
    const std::int64_t version = query.Step() ? query.GetInteger(0) : 0;
    if (version > SchemaVersion)
    {
        throw DatabaseException(System::Core::Format(
            "The status store was written by a newer service: its schema is {0}, this service knows {1}.",
            version, SchemaVersion));
    }
    if (version == 0)
    {
        database.Execute(Schema);
    }
    transaction.Commit();
}

std::int64_t StatusStore::GetComponentKey(const String& componentId)
{
    const String id = ToLower(componentId);
    Database::Statement query = database.Prepare("SELECT key FROM component WHERE id = ?");
    if (query.Bind(id).Step())
    {
        return query.GetInteger(0);
    }
    Database::Statement insertion = database.Prepare("INSERT INTO component (id) VALUES (?) RETURNING key");
    static_cast<void>(insertion.Bind(id).Step());
    const std::int64_t key = insertion.GetInteger(0);
    static_cast<void>(insertion.Step());
    return key;
}

ComponentRecord StatusStore::GetComponent(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement query = database.Prepare("SELECT state, revertible, begun_as_installation, prepared, "
                                                 "boot_id, due_time FROM component WHERE key = ?");
    ComponentRecord record;
    if (query.Bind(GetComponentKey(componentId)).Step())
    {
        record.state = static_cast<InstallationState>(query.GetInteger(0));
        record.revertible = query.GetInteger(1) != 0;
        record.begunAsInstallation = query.GetInteger(2) != 0;
        record.prepared = query.GetInteger(3) != 0;
        record.bootId = query.GetText(4);
        record.dueTime = query.GetInteger(5);
    }
    return record;
}

bool StatusStore::Begin(const String& componentId, bool installation, const String& bootId,
                        std::int64_t dueTime)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(database);
    Database::Statement change = database.Prepare(
        "UPDATE component SET state = 1, begun_as_installation = ?, prepared = ?, boot_id = ?, "
        "due_time = ? WHERE key = ? AND state = 0");
    change.Bind(std::int64_t{installation}).Bind(std::int64_t{!installation}).Bind(bootId).Bind(dueTime);
    const bool changed = change.Bind(GetComponentKey(componentId)).Run() == 1;
    transaction.Commit();
    return changed;
}

bool StatusStore::End(const String& componentId, const String& versionProperty, bool succeeded,
                      const String& reason)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(database);
    const std::int64_t key = GetComponentKey(componentId);
    const auto state = succeeded ? InstallationState::Idle : InstallationState::Failed;
    Database::Statement change =
        database.Prepare("UPDATE component SET state = ?, revertible = revertible OR begun_as_installation, "
                         "prepared = 0, due_time = 0 WHERE key = ? AND state = 1");
    const bool changed = change.Bind(static_cast<std::int64_t>(state)).Bind(key).Run() == 1;
    if (changed)
    {
        Database::Statement insertion = database.Prepare(
            "INSERT INTO verdict (component, succeeded, version, reason, time) VALUES (?1, ?2, "
            "coalesce((SELECT value FROM property WHERE component = ?1 AND name = ?3), ''), ?4, ?5)");
        insertion.Bind(key).Bind(std::int64_t{succeeded}).Bind(versionProperty).Bind(reason);
        insertion.Bind(GetUnixTime()).Run();
        database.Prepare("DELETE FROM verdict WHERE key <= (SELECT max(key) FROM verdict) - ?")
            .Bind(MaximumVerdicts)
            .Run();
    }
    transaction.Commit();
    return changed;
}

bool StatusStore::Resume(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement change =
        database.Prepare("UPDATE component SET state = 0 WHERE key = ? AND state = 2");
    return change.Bind(GetComponentKey(componentId)).Run() == 1;
}

bool StatusStore::CallOff(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement change = database.Prepare(
        "UPDATE component SET state = 0, prepared = 0, due_time = 0 WHERE key = ? AND state = 1");
    return change.Bind(GetComponentKey(componentId)).Run() == 1;
}

void StatusStore::SetPrepared(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement change =
        database.Prepare("UPDATE component SET prepared = 1 WHERE key = ? AND state = 1");
    change.Bind(GetComponentKey(componentId)).Run();
}

void StatusStore::WriteProperty(const String& componentId, const String& name, const String& value)
{
    const std::lock_guard lock(mutex);
    const std::int64_t key = GetComponentKey(componentId);
    if (value.empty())
    {
        database.Prepare("DELETE FROM property WHERE component = ? AND name = ?").Bind(key).Bind(name).Run();
        return;
    }
    database.Prepare("INSERT OR REPLACE INTO property (component, name, value) VALUES (?, ?, ?)")
        .Bind(key)
        .Bind(name)
        .Bind(value)
        .Run();
}

String StatusStore::ReadProperty(const String& componentId, const String& name)
{
    const std::lock_guard lock(mutex);
    Database::Statement query =
        database.Prepare("SELECT value FROM property WHERE component = ? AND name = ?");
    return query.Bind(GetComponentKey(componentId)).Bind(name).Step() ? query.GetText(0) : String();
}

void StatusStore::AddNotification(const Notification& notification)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(database);
    Database::Statement insertion = database.Prepare(
        "INSERT INTO notification (name, sender, severity, time, message) VALUES (?, ?, ?, ?, ?)");
    insertion.Bind(notification.name).Bind(notification.sender);
    insertion.Bind(static_cast<std::int64_t>(notification.severity)).Bind(ToUnixTime(notification.timestamp));
    insertion.Bind(notification.message).Run();
    database.Prepare("DELETE FROM notification WHERE key <= (SELECT max(key) FROM notification) - ?")
        .Bind(MaximumNotifications)
        .Run();
    transaction.Commit();
}

std::vector<StatusStore::Notification> StatusStore::GetNotifications(std::int64_t limit)
{
    const std::lock_guard lock(mutex);
    Database::Statement query = database.Prepare(
        "SELECT name, sender, severity, time, message FROM notification ORDER BY key DESC LIMIT ?");
    query.Bind(limit);
    std::vector<Notification> notifications;
    while (query.Step())
    {
        notifications.push_back({query.GetText(0), query.GetText(1),
                                 static_cast<System::Nm::Severity>(query.GetInteger(2)),
                                 FromUnixTime(query.GetInteger(3)), query.GetText(4)});
    }
    return notifications;
}

std::optional<Verdict> StatusStore::GetLastVerdict(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement query = database.Prepare("SELECT succeeded, version, reason, time FROM verdict "
                                                 "WHERE component = ? ORDER BY key DESC LIMIT 1");
    if (!query.Bind(GetComponentKey(componentId)).Step())
    {
        return std::nullopt;
    }
    return Verdict{query.GetInteger(0) != 0, query.GetText(1), query.GetText(2), query.GetInteger(3)};
}

} // namespace Zel::Host::Service

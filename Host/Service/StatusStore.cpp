#include "Service/StatusStore.h"

#include "Service/Clock.h"
#include "Service/OwnFolder.h"
#include "Service/SetAsideFiles.h"
#include "Service/StatusStoreSchema.h"

#include "Zel/System/Core/Format.h"

#include <array>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Core::Format;

namespace
{

/// By which a module knows what a revert would go back to.
const std::array<String, 3> RevertProperties = {
    StatusStore::TargetVersionProperty, StatusStore::InstallerSlotProperty, StatusStore::RevertedToProperty};
/// The property that says that they are kept, under names that begin so.
const String KeptMark = "Kept";
const String KeptPrefix = "Kept.";

} // namespace

StatusStore::StatusStore(const String& folder)
    : database(Open(PrepareOwnFolder(folder) + "/" + FileName, damage))
{
}

std::unique_ptr<Database> StatusStore::Open(const String& path, String& damage)
{
    const auto open = [&path]
    {
        auto opened = std::make_unique<Database>(path);
        StatusStoreSchema::Prepare(*opened);
        return opened;
    };
    const auto setAside = [&](const DatabaseException& exception, const char* kind)
    {
        damage = Format("{0}. It is kept as '{1}', and an empty one took its place.", exception.GetMessage(),
                        SetAsideFiles::Add(path, kind));
    };
    try
    {
        return open();
    }
    catch (const NewerSchemaException& exception)
    {
        setAside(exception, "newer");
    }
    catch (const UnusableDatabaseException& exception)
    {
        setAside(exception, "damaged");
    }
    return open();
}

std::int64_t StatusStore::GetComponentKey(const String& componentId)
{
    const String id = ToLower(componentId);
    Database::Statement query = database->Prepare("SELECT key FROM component WHERE id = ?");
    if (query.Bind(id).Step())
    {
        return query.GetInteger(0);
    }
    Database::Statement insertion = database->Prepare("INSERT INTO component (id) VALUES (?) RETURNING key");
    static_cast<void>(insertion.Bind(id).Step());
    const std::int64_t key = insertion.GetInteger(0);
    static_cast<void>(insertion.Step());
    return key;
}

ComponentRecord StatusStore::GetComponent(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement query =
        database->Prepare("SELECT state, revertible, begun_as_installation, prepared, boot_id, boot_slot, "
                          "due_time, restart_ordered FROM component WHERE key = ?");
    ComponentRecord record;
    if (query.Bind(GetComponentKey(componentId)).Step())
    {
        record.state = static_cast<InstallationState>(query.GetInteger(0));
        record.revertible = query.GetInteger(1) != 0;
        record.begunAsInstallation = query.GetInteger(2) != 0;
        record.prepared = query.GetInteger(3) != 0;
        record.bootId = query.GetText(4);
        record.bootSlot = query.GetText(5);
        record.dueTime = query.GetInteger(6);
        record.restartOrdered = query.GetInteger(7) != 0;
    }
    return record;
}

bool StatusStore::Begin(const String& componentId, const Beginning& beginning)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    const std::int64_t component = GetComponentKey(componentId);
    Database::Statement change =
        database->Prepare("UPDATE component SET state = ?, begun_as_installation = ?, prepared = ?, "
                          "boot_id = ?, boot_slot = ?, due_time = ?, restart_ordered = 0 "
                          "WHERE key = ? AND state = ?");
    change.Bind(InstallationState::Installing);
    change.Bind(std::int64_t{beginning.installation}).Bind(std::int64_t{!beginning.installation});
    change.Bind(beginning.bootId).Bind(beginning.bootSlot);
    change.Bind(beginning.installation ? beginning.dueTime : 0).Bind(component);
    const bool changed = change.Bind(InstallationState::Idle).Run() == 1;
    if (changed)
    {
        BeginEntry(component, beginning);
    }
    transaction.Commit();
    return changed;
}

bool StatusStore::Finish(const String& componentId, InstallationState state, const String& result,
                         const String& reason)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    const std::int64_t component = GetComponentKey(componentId);
    // What was called off changed nothing that could be reverted.
    Database::Statement change = database->Prepare(
        "UPDATE component SET state = ?, revertible = revertible OR (begun_as_installation AND ?), "
        "prepared = 0, due_time = 0 WHERE key = ? AND (state = ? OR (state = ? AND due_time <> 0))");
    change.Bind(state).Bind(std::int64_t{result != Api::Result::CalledOff}).Bind(component);
    const bool changed = change.Bind(InstallationState::Installing).Bind(InstallationState::Idle).Run() == 1;
    if (changed)
    {
        EndEntry(component, result, reason);
        ReleaseKept(component, result == Api::Result::CalledOff);
    }
    transaction.Commit();
    return changed;
}

bool StatusStore::End(const String& componentId, bool succeeded, const String& result, const String& reason)
{
    return Finish(componentId, succeeded ? InstallationState::Idle : InstallationState::Failed, result,
                  reason);
}

void StatusStore::KeepForCallOff(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    const std::int64_t component = GetComponentKey(componentId);
    for (const String& name : RevertProperties)
    {
        SetProperty(component, KeptPrefix + name, GetProperty(component, name));
    }
    SetProperty(component, KeptMark, "yes");
    transaction.Commit();
}

void StatusStore::ReleaseKept(std::int64_t component, bool restore)
{
    const bool restores = restore && !GetProperty(component, KeptMark).empty();
    for (const String& name : RevertProperties)
    {
        if (restores)
        {
            SetProperty(component, name, GetProperty(component, KeptPrefix + name));
        }
        SetProperty(component, KeptPrefix + name, "");
    }
    SetProperty(component, KeptMark, "");
}

bool StatusStore::CallOff(const String& componentId, const String& reason)
{
    return Finish(componentId, InstallationState::Idle, Api::Result::CalledOff, reason);
}

bool StatusStore::Suspend(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement change = database->Prepare(
        "UPDATE component SET state = ?, prepared = 0 WHERE key = ? AND state = ? AND due_time <> 0");
    change.Bind(InstallationState::Idle).Bind(GetComponentKey(componentId));
    return change.Bind(InstallationState::Installing).Run() == 1;
}

bool StatusStore::Resume(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement change =
        database->Prepare("UPDATE component SET state = ? WHERE key = ? AND state = ?");
    change.Bind(InstallationState::Idle).Bind(GetComponentKey(componentId));
    return change.Bind(InstallationState::Failed).Run() == 1;
}

void StatusStore::SetProperty(std::int64_t component, const String& name, const String& value)
{
    if (value.empty())
    {
        Database::Statement deletion =
            database->Prepare("DELETE FROM property WHERE component = ? AND name = ?");
        deletion.Bind(component).Bind(name).Run();
        return;
    }
    Database::Statement change =
        database->Prepare("INSERT OR REPLACE INTO property (component, name, value) VALUES (?, ?, ?)");
    change.Bind(component).Bind(name).Bind(value).Run();
}

void StatusStore::WriteProperty(const String& componentId, const String& name, const String& value)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    const std::int64_t key = GetComponentKey(componentId);
    SetProperty(key, name, value);
    if (name == InstallerSlotProperty)
    {
        Database::Statement change =
            database->Prepare("UPDATE component SET prepared = 1 WHERE key = ? AND state = ?");
        change.Bind(key).Bind(InstallationState::Installing).Run();
    }
    transaction.Commit();
}

String StatusStore::ReadProperty(const String& componentId, const String& name)
{
    const std::lock_guard lock(mutex);
    return GetProperty(GetComponentKey(componentId), name);
}

String StatusStore::GetProperty(std::int64_t component, const String& name)
{
    Database::Statement query =
        database->Prepare("SELECT value FROM property WHERE component = ? AND name = ?");
    return query.Bind(component).Bind(name).Step() ? query.GetText(0) : String();
}

void StatusStore::AddNotification(const Notification& notification)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    Database::Statement insertion = database->Prepare(
        "INSERT INTO notification (name, sender, severity, time, message) VALUES (?, ?, ?, ?, ?)");
    insertion.Bind(notification.name).Bind(notification.sender);
    insertion.Bind(notification.severity).Bind(ToUnixTime(notification.timestamp));
    insertion.Bind(notification.message).Run();
    database->Prepare("DELETE FROM notification WHERE key <= (SELECT max(key) FROM notification) - ?")
        .Bind(MaximumNotifications)
        .Run();
    transaction.Commit();
}

std::vector<StatusStore::Notification> StatusStore::GetNotifications(std::int64_t limit)
{
    const std::lock_guard lock(mutex);
    Database::Statement query = database->Prepare(
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

} // namespace Zel::Host::Service

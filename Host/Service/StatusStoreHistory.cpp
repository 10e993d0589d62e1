#include "Service/Clock.h"
#include "Service/StatusStore.h"

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;

void StatusStore::BeginEntry(std::int64_t component, const Beginning& beginning)
{
    // A suspended installation goes on.
    Database::Statement open = database->Prepare("SELECT 1 FROM history WHERE component = ? AND ended = 0");
    if (open.Bind(component).Step())
    {
        return;
    }
    Database::Statement insertion =
        database->Prepare("INSERT INTO history (component, kind, caller, from_version, to_version, begun) "
                          "VALUES (?, ?, ?, ?, ?, ?)");
    insertion.Bind(component).Bind(beginning.kind).Bind(beginning.caller);
    insertion.Bind(beginning.from).Bind(beginning.to).Bind(GetUnixTime()).Run();
    database->Prepare("DELETE FROM history WHERE key <= (SELECT max(key) FROM history) - ?")
        .Bind(MaximumEntries)
        .Run();
}

void StatusStore::EndEntry(std::int64_t component, const String& result, const String& reason)
{
    // What a module recorded says more than what was asked for; a revert goes back to another version.
    Database::Statement change = database->Prepare(R"(
UPDATE history SET ended = ?2, result = ?3, reason = ?4,
    slot = coalesce((SELECT value FROM property WHERE component = ?1 AND name = ?5), slot),
    to_version = CASE kind WHEN ?6 THEN to_version
        ELSE coalesce((SELECT value FROM property WHERE component = ?1 AND name = ?7), to_version) END
WHERE component = ?1 AND ended = 0)");
    change.Bind(component).Bind(GetUnixTime()).Bind(result).Bind(reason).Bind(InstallerSlotProperty);
    change.Bind(Api::Kind::Revert).Bind(TargetVersionProperty).Run();
}

void StatusStore::InsertStep(std::int64_t component, const String& text)
{
    Database::Statement insertion = database->Prepare(R"(
INSERT INTO step (entry, time, text) SELECT key, ?2, ?3 FROM history
WHERE component = ?1 AND ended = 0 AND (SELECT count(*) FROM step WHERE entry = history.key) < ?4)");
    insertion.Bind(component).Bind(GetUnixTime()).Bind(text).Bind(MaximumSteps).Run();
}

void StatusStore::AddStep(const String& componentId, const String& text, bool waits)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    const std::int64_t component = GetComponentKey(componentId);
    InsertStep(component, text);
    if (!waits)
    {
        database->Prepare("UPDATE component SET due_time = 0 WHERE key = ? AND state = ?")
            .Bind(component)
            .Bind(InstallationState::Installing)
            .Run();
    }
    transaction.Commit();
}

void StatusStore::AddRestart(const String& componentId, bool waits)
{
    const std::lock_guard lock(mutex);
    Database::Transaction transaction(*database);
    const std::int64_t component = GetComponentKey(componentId);
    InsertStep(component, Api::RestartOrderedStep);
    if (!waits)
    {
        database
            ->Prepare("UPDATE component SET due_time = 0, restart_ordered = 1 WHERE key = ? AND state = ?")
            .Bind(component)
            .Bind(InstallationState::Installing)
            .Run();
    }
    transaction.Commit();
}

std::vector<HistoryEntry> StatusStore::GetHistory(const String& componentId, std::int64_t limit)
{
    const std::lock_guard lock(mutex);
    const std::int64_t component = GetComponentKey(componentId);
    Database::Statement query = database->Prepare(
        "SELECT kind, caller, from_version, to_version, slot, begun, ended, result, reason, key "
        "FROM history WHERE component = ? ORDER BY key DESC LIMIT ?");
    query.Bind(component).Bind(limit);
    std::vector<HistoryEntry> entries;
    std::vector<std::int64_t> keys;
    while (query.Step())
    {
        entries.push_back({query.GetText(0), query.GetText(1), query.GetText(2), query.GetText(3),
                           query.GetText(4), query.GetInteger(5), query.GetInteger(6),
                           std::vector<HistoryEntry::Step>(), query.GetText(7), query.GetText(8)});
        keys.push_back(query.GetInteger(9));
    }
    Database::Statement steps = database->Prepare(
        "SELECT entry, time, text FROM step WHERE entry IN "
        "(SELECT key FROM history WHERE component = ? ORDER BY key DESC LIMIT ?) ORDER BY entry DESC, key");
    steps.Bind(component).Bind(limit);
    // In the entries' order, so that one pass finds them all.
    std::size_t at = 0;
    while (steps.Step())
    {
        while (keys.at(at) != steps.GetInteger(0))
        {
            ++at;
        }
        entries.at(at).steps.push_back({steps.GetInteger(1), steps.GetText(2)});
    }
    return entries;
}

std::optional<String> StatusStore::FindEarlierVersion(const String& componentId, const String& runningVersion)
{
    const std::lock_guard lock(mutex);
    // What was reverted, failed or called off did not bring the running version.
    Database::Statement query =
        database->Prepare("SELECT from_version FROM history "
                          "WHERE component = ? AND result = ? AND to_version = ? ORDER BY key DESC LIMIT 1");
    query.Bind(GetComponentKey(componentId)).Bind(Api::Result::Succeeded).Bind(runningVersion);
    return query.Step() ? std::optional(query.GetText(0)) : std::nullopt;
}

Verdict StatusStore::GetLastVerdict(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Database::Statement query =
        database->Prepare("SELECT result, to_version, reason, ended FROM history "
                          "WHERE component = ? AND ended > 0 AND result <> ? ORDER BY key DESC LIMIT 1");
    if (!query.Bind(GetComponentKey(componentId)).Bind(Api::Result::CalledOff).Step())
    {
        return {};
    }
    return {query.GetText(0), query.GetText(1), query.GetText(2), query.GetInteger(3)};
}

} // namespace Zel::Host::Service

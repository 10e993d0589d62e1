#include "Service/StatusStoreSchema.h"

#include "Zel/System/Core/Format.h"

#include <array>
#include <cstdint>

namespace Zel::Host::Service
{

namespace
{

constexpr const char* FirstSchema = R"(
CREATE TABLE component
(
    key INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    state INTEGER NOT NULL DEFAULT 0 CHECK (state BETWEEN 0 AND 2),
    revertible INTEGER NOT NULL DEFAULT 0,
    begun_as_installation INTEGER NOT NULL DEFAULT 0,
    phase INTEGER NOT NULL DEFAULT 0 CHECK (phase BETWEEN 0 AND 3),
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
)";

/// The history takes the place of the verdicts.
constexpr const char* SecondSchema = R"(
ALTER TABLE component ADD COLUMN prepared INTEGER NOT NULL DEFAULT 0;
ALTER TABLE component ADD COLUMN boot_slot TEXT NOT NULL DEFAULT '';
UPDATE component SET prepared = phase >= 2;
ALTER TABLE component DROP COLUMN phase;
CREATE TABLE history
(
    key INTEGER PRIMARY KEY AUTOINCREMENT,
    component INTEGER NOT NULL REFERENCES component (key),
    kind TEXT NOT NULL,
    caller TEXT NOT NULL,
    from_version TEXT NOT NULL,
    to_version TEXT NOT NULL,
    slot TEXT NOT NULL DEFAULT '',
    begun INTEGER NOT NULL,
    ended INTEGER NOT NULL DEFAULT 0,
    result TEXT NOT NULL DEFAULT '',
    reason TEXT NOT NULL DEFAULT ''
) STRICT;
CREATE TABLE step
(
    key INTEGER PRIMARY KEY AUTOINCREMENT,
    entry INTEGER NOT NULL REFERENCES history (key) ON DELETE CASCADE,
    time INTEGER NOT NULL,
    text TEXT NOT NULL
) STRICT;
CREATE INDEX step_of_entry ON step (entry);
INSERT INTO history (component, kind, caller, from_version, to_version, begun, ended, result, reason)
    SELECT component, 'install', '', '', version, time, time,
        CASE succeeded WHEN 0 THEN 'failed' ELSE 'succeeded' END, reason
    FROM verdict ORDER BY key;
DROP TABLE verdict;
)";

constexpr const char* ThirdSchema = R"(
ALTER TABLE component ADD COLUMN restart_ordered INTEGER NOT NULL DEFAULT 0;
)";

/// One schema version each. The slots of a device share one file, and after a switch back an older service
/// meets a newer one's: from version 3 on a version only adds what has a default, so that services that know
/// the oldest readable version, or a later one, go on with the file.
constexpr std::array Versions = {FirstSchema, SecondSchema, ThirdSchema};
constexpr std::int64_t OldestReader = 3;

std::int64_t Read(Database& database, const char* pragma)
{
    Database::Statement query = database.Prepare(pragma);
    return query.Step() ? query.GetInteger(0) : 0;
}

} // namespace

void StatusStoreSchema::Prepare(Database& database)
{
    Database::Transaction transaction(database);
    std::int64_t version = Read(database, "PRAGMA user_version");
    const auto present = static_cast<std::int64_t>(Versions.size());
    // The oldest schema version whose services can read the file; 0 where the file was written before 3.
    const std::int64_t oldestReader = Read(database, "PRAGMA application_id");
    if (version > present && (oldestReader == 0 || oldestReader > present))
    {
        throw NewerSchemaException(System::Core::Format(
            "The status store was written by a newer service: its schema is {0}, this service knows {1}",
            version, present));
    }
    if (version >= present)
    {
        // Not even a full file system keeps a service from its store.
        return;
    }
    for (; version < present; ++version)
    {
        database.Execute(Versions.at(static_cast<std::size_t>(version)));
    }
    database.Execute(
        System::Core::Format("PRAGMA user_version = {0}; PRAGMA application_id = {1}", present, OldestReader)
            .c_str());
    transaction.Commit();
}

} // namespace Zel::Host::Service

#pragma once

#include "Service/Database.h"

namespace Zel::Host::Service
{

/// The file has a schema that only newer services can read.
class NewerSchemaException : public UnusableDatabaseException
{
public:
    using UnusableDatabaseException::UnusableDatabaseException;
};

/// The tables of the status store, in numbered schema versions.
class StatusStoreSchema
{
public:
    /// Creates the tables in an empty database, and brings those of an earlier version up to the present one,
    /// all or nothing. What a newer service wrote stays as it is. Throws `NewerSchemaException` where
    /// this one cannot go on with that, and `DatabaseException`.
    static void Prepare(Database& database);
};

} // namespace Zel::Host::Service

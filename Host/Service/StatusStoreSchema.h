#pragma once

#include "Service/Database.h"

namespace Zel::Host::Service
{

/// The tables of the status store, in numbered editions.
class StatusStoreSchema
{
public:
    /// Creates the tables in an empty database, and brings those of an earlier edition up to the present one,
    /// all or nothing. Throws `DatabaseException`, also for an edition that only a newer service knows.
    static void Prepare(Database& database);
};

} // namespace Zel::Host::Service

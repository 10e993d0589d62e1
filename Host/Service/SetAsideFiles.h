#pragma once

#include "Zel/String.h"

#include <cstddef>

namespace Zel::Host::Service
{

/// Databases that could not be used: they are kept under other names beside the one that took their place.
class SetAsideFiles
{
public:
    /// How many of a kind are kept, so that a bad disk does not fill up with them.
    static constexpr std::size_t Maximum = 3;

    /// Renames the closed database at `path`, with the files that SQLite has beside it, to `path`, a dot,
    /// `kind`, a hyphen and the microseconds since 1970 in UTC, and removes the oldest ones of that kind.
    /// Returns the new name. Throws `IoException` where it cannot be renamed.
    [[nodiscard]] static String Add(const String& path, const String& kind);
};

} // namespace Zel::Host::Service

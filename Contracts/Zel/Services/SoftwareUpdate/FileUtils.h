#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

namespace Zel::Services::SoftwareUpdate
{

/// How the update service moves packages. After any failure source and earlier target are as they were.
class ZEL_API FileUtils
{
public:
    /// Whether `path` names anything: a file, a folder, a link, even one that leads nowhere.
    [[nodiscard]] static bool Exists(const String& path) noexcept;

    /// Renames within a file system; durable when it returns. `createFolder` makes the target's missing
    /// folders, `replace` lets it take the place of an existing target. Throws `IoException` (EXDEV across
    /// file systems, EEXIST for a target that may not be replaced).
    static void Rename(const String& source, const String& target, bool createFolder, bool replace);

    /// The same, but across file systems the source, a regular file, is copied in bounded memory to a new
    /// file beside the target, never through a link, synced, renamed to the target and only then deleted.
    /// Throws `OutOfMemoryException` when there is not enough space or memory (ENOSPC, EDQUOT, ENOMEM, a
    /// failed allocation) and `IoException` for every other failure.
    static void RenameOrCopyDelete(const String& source, const String& target, bool createFolder,
                                   bool replace);
};

} // namespace Zel::Services::SoftwareUpdate

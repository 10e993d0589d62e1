#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/Visibility.h"

namespace Zel::Services::SoftwareUpdate
{

/// How the update service moves packages. Both moves throw `OutOfMemoryException` when there is not enough
/// space or memory (ENOSPC, EDQUOT, ENOMEM, a failed allocation) and `IoException` for every other failure;
/// after it source and earlier target are as they were, and only folders that were made stay. They may run on
/// any thread, but not two at a time with the same source or target.
class ZEL_API FileUtils : private System::Commons::Diagnostics::Logging::Loggable<FileUtils>
{
public:
    /// Behind the target's name: what is being copied to it from another file system.
    inline static const String CopySuffix = ".copy";

    /// Whether `path` names anything: a file, a folder, a link, even one that leads nowhere.
    [[nodiscard]] static bool Exists(const String& path) noexcept;

    /// Renames within a file system; durable when it returns. `createFolder` makes the target's missing
    /// folders, `replace` lets it take the place of an existing target: a link itself, not what it leads to.
    /// A target that may not be replaced is EEXIST (EINVAL where the file system cannot promise that), one on
    /// another file system EXDEV. When the sync after the move fails, this is logged at error level and the
    /// move stands, because it cannot be undone safely.
    static void Rename(const String& source, const String& target, bool createFolder, bool replace);

    /// The same, but across file systems the source, a regular file, is copied in bounded memory to a new
    /// file "{target}.copy" of mode 0640, synced, given the target's name and only then deleted. Neither
    /// side's link is followed. A source that cannot be deleted, or that changes meanwhile, is a failure,
    /// and the earlier target is put back; only on a file system that cannot exchange two names the new
    /// target stays, and the remaining source is logged at warning level. What an interrupted process or a
    /// power cut leaves of "{target}.copy" is replaced by the next copy, or deleted by the target's owner.
    static void RenameOrCopyDelete(const String& source, const String& target, bool createFolder,
                                   bool replace);

private:
    struct Move;

    static void CopyDelete(const Move& move, bool replace);
    static void SyncFolders(const Move& move);
};

} // namespace Zel::Services::SoftwareUpdate

#include "Zel/Services/SoftwareUpdate/FileUtils.h"

#include "Zel/Services/SoftwareUpdate/Internal/ReplacementFile.h"
#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Commons/OutOfMemoryException.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <vector>

namespace Zel::Services::SoftwareUpdate
{

using Internal::ReplacementFile;
using System::Commons::IoException;
using System::Commons::OutOfMemoryException;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::FileDescriptor;
using Status = struct stat;

namespace
{

/// The block that is copied at once, in bytes: it stays in the processor's cache between reading and writing.
/// Twice the size was measured to be half as fast.
constexpr std::size_t BlockSize = std::size_t{128} * 1024;
/// After so many bytes the device begins to write, so that the sync at the end is short.
constexpr off_t WriteBackSize = off_t{8} * 1024 * 1024;

[[nodiscard]] String GetFolder(const String& path)
{
    const std::size_t slash = path.find_last_of('/');
    if (slash == String::npos)
    {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

[[nodiscard]] String GetFileName(const String& path)
{
    const std::size_t slash = path.find_last_of('/');
    return slash == String::npos ? path : path.substr(slash + 1);
}

[[nodiscard]] bool TryGetStatus(const String& path, Status& status) noexcept
{
    return path.find('\0') == String::npos && ::lstat(path.c_str(), &status) == 0;
}

[[nodiscard]] bool IsSameFile(const Status& left, const Status& right) noexcept
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

[[nodiscard]] FileDescriptor OpenFolder(const String& folder)
{
    return FileDescriptor::Open(folder, O_RDONLY | O_DIRECTORY);
}

[[nodiscard]] bool IsFolder(const String& path)
{
    Status status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void CreateFolders(const String& folder)
{
    if (IsFolder(folder))
    {
        return;
    }
    const String parent = GetFolder(folder);
    if (parent != folder)
    {
        CreateFolders(parent);
    }
    constexpr mode_t Mode = 0755;
    if (::mkdir(folder.c_str(), Mode) == -1 && !(errno == EEXIST && IsFolder(folder)))
    {
        throw IoException("create folder", folder, errno);
    }
    OpenFolder(parent).Sync();
}

[[nodiscard]] FileDescriptor OpenSource(const String& path)
{
    // Checked on the open file: what the name stands for may be swapped at any time.
    FileDescriptor source = FileDescriptor::Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!S_ISREG(source.GetStatus().st_mode))
    {
        throw IoException("copy", path, EINVAL);
    }
    return source;
}

[[noreturn]] void RefuseChanging(const FileDescriptor& source)
{
    throw IoException("move the changing", source.GetPath(), EBUSY);
}

void CheckUnchanged(const FileDescriptor& source, const Status& before)
{
    const Status now = source.GetStatus();
    Status named = {};
    const bool unchanged = now.st_size == before.st_size && now.st_mtim.tv_sec == before.st_mtim.tv_sec &&
                           now.st_mtim.tv_nsec == before.st_mtim.tv_nsec &&
                           TryGetStatus(source.GetPath(), named) && IsSameFile(named, before);
    if (!unchanged)
    {
        RefuseChanging(source);
    }
}

/// Takes all the space at once, so that too little of it is known before the copying.
void Reserve(const FileDescriptor& file, off_t size)
{
    if (size == 0 || ::fallocate(file.Get(), 0, 0, size) == 0)
    {
        return;
    }
    if (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINTR)
    {
        throw IoException("reserve space for", file.GetPath(), errno);
    }
}

/// Throws for a source of more than `size` bytes, which could grow for ever.
void Copy(const FileDescriptor& source, off_t size, const FileDescriptor& target)
{
    std::vector<char> block(BlockSize);
    off_t copied = 0;
    off_t writtenBack = 0;
    while (const std::size_t count = source.Read(block.data(), block.size()))
    {
        copied += static_cast<off_t>(count);
        if (copied > size)
        {
            RefuseChanging(source);
        }
        target.Write(block.data(), count);
        if (copied - writtenBack >= WriteBackSize)
        {
            static_cast<void>(
                ::sync_file_range(target.Get(), writtenBack, copied - writtenBack, SYNC_FILE_RANGE_WRITE));
            writtenBack = copied;
        }
    }
    target.Sync();
}

void PrepareFolder(const String& source, const String& target, bool createFolder)
{
    for (const String& path : {source, target})
    {
        if (path.find('\0') != String::npos)
        {
            throw IoException("move", path, EINVAL);
        }
    }
    if (createFolder)
    {
        CreateFolders(GetFolder(target));
    }
}

/// Turns what says that space or memory is short into the exception for it.
template <typename Operation>
void MapShortage(const String& source, const Operation& operation)
{
    try
    {
        operation();
    }
    catch (const IoException& exception)
    {
        const int errorNumber = exception.GetErrorNumber();
        if (errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == ENOMEM)
        {
            throw OutOfMemoryException(exception.GetMessage());
        }
        throw;
    }
    catch (const std::bad_alloc&)
    {
        throw OutOfMemoryException("Not enough memory to move '" + source + "'");
    }
}

} // namespace

/// The two ends of a move, their folders open before anything is changed: what cannot be synced later is
/// refused at once.
struct FileUtils::Move
{
    Move(const String& source, const String& target)
        : source(source), target(target), sourceFolder(OpenFolder(GetFolder(source))),
          targetFolder(OpenFolder(GetFolder(target)))
    {
    }

    /// Whether both are one name in one folder, however they are spelled.
    [[nodiscard]] bool IsSameEntry() const
    {
        return GetFileName(source) == GetFileName(target) &&
               IsSameFile(sourceFolder.GetStatus(), targetFolder.GetStatus());
    }

    /// Whether both are names of one regular file: rename(2) then does nothing at all.
    [[nodiscard]] bool IsSameRegularFile() const
    {
        Status sourceStatus = {};
        Status targetStatus = {};
        return TryGetStatus(source, sourceStatus) && TryGetStatus(target, targetStatus) &&
               S_ISREG(sourceStatus.st_mode) && IsSameFile(sourceStatus, targetStatus);
    }

    /// Returns 0, or an error number.
    [[nodiscard]] int Rename(bool replace) const;

    /// Throws for an error number of `Rename`.
    void Check(int result) const;

    /// Refuses before a copy what would fail behind it.
    void CheckCopy(bool replace) const;

    const String& source;
    const String& target;
    const FileDescriptor sourceFolder;
    const FileDescriptor targetFolder;
};

int FileUtils::Move::Rename(bool replace) const
{
    if (replace && IsSameRegularFile())
    {
        return IsSameEntry() || ::unlink(source.c_str()) == 0 ? 0 : errno;
    }
    const unsigned int flags = replace ? 0 : RENAME_NOREPLACE;
    return ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), flags) == 0 ? 0 : errno;
}

void FileUtils::Move::Check(int result) const
{
    if (result != 0)
    {
        throw IoException("rename to '" + target + "' the file", source, result);
    }
}

void FileUtils::Move::CheckCopy(bool replace) const
{
    if (::faccessat(AT_FDCWD, sourceFolder.GetPath().c_str(), W_OK | X_OK, AT_EACCESS) == -1)
    {
        throw IoException("delete", source, errno);
    }
    Status status = {};
    const bool exists = TryGetStatus(target, status);
    if (exists && (!replace || S_ISDIR(status.st_mode)))
    {
        throw IoException("replace", target, replace ? EISDIR : EEXIST);
    }
}

bool FileUtils::Exists(const String& path) noexcept
{
    Status status = {};
    return TryGetStatus(path, status);
}

void FileUtils::Rename(const String& source, const String& target, bool createFolder, bool replace)
{
    MapShortage(source,
                [&]
                {
                    PrepareFolder(source, target, createFolder);
                    const Move move(source, target);
                    move.Check(move.Rename(replace));
                    SyncFolders(move);
                });
}

void FileUtils::RenameOrCopyDelete(const String& source, const String& target, bool createFolder,
                                   bool replace)
{
    MapShortage(source,
                [&]
                {
                    PrepareFolder(source, target, createFolder);
                    const Move move(source, target);
                    if (const int result = move.Rename(replace); result == EXDEV)
                    {
                        CopyDelete(move, replace);
                    }
                    else
                    {
                        move.Check(result);
                    }
                    SyncFolders(move);
                });
}

void FileUtils::CopyDelete(const Move& move, bool replace)
{
    const FileDescriptor source = OpenSource(move.source);
    const Status before = source.GetStatus();
    move.CheckCopy(replace);
    ReplacementFile replacement(move.target);
    Reserve(replacement.GetFile(), before.st_size);
    Copy(source, before.st_size, replacement.GetFile());
    CheckUnchanged(source, before);
    replacement.TakeName(replace);
    try
    {
        move.targetFolder.Sync();
        CheckUnchanged(source, before);
        System::Commons::Io::File::Delete(move.source);
    }
    catch (const std::exception& exception)
    {
        if (replacement.GiveNameBack())
        {
            throw;
        }
        Log(LogLevel::Warning, "The file '{0}' was copied to '{1}' and stays: {2}", move.source, move.target,
            exception.what());
    }
}

void FileUtils::SyncFolders(const Move& move)
{
    for (const FileDescriptor* const folder : {&move.targetFolder, &move.sourceFolder})
    {
        try
        {
            folder->Sync();
        }
        catch (const IoException& exception)
        {
            Log(LogLevel::Error, "A power cut may undo the move of '{0}' to '{1}': {2}", move.source,
                move.target, exception.GetMessage());
        }
    }
}

} // namespace Zel::Services::SoftwareUpdate

#include "Zel/Services/SoftwareUpdate/Internal/ReplacementFile.h"

#include "Zel/Services/SoftwareUpdate/FileUtils.h"
#include "Zel/System/Commons/IoException.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace Zel::Services::SoftwareUpdate::Internal
{

using System::Commons::IoException;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::FileDescriptor;
using Status = struct stat;

namespace
{

constexpr mode_t PrivateMode = S_IRUSR | S_IWUSR;
/// RAUC makes itself the owner of a bundle and leaves it to the group to read.
constexpr mode_t FinalMode = PrivateMode | S_IRGRP;

/// Returns 0, or an error number.
[[nodiscard]] int RenameEntry(const String& from, const String& to, unsigned int flags) noexcept
{
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0 ? 0 : errno;
}

[[nodiscard]] FileDescriptor Create(const String& path)
{
    constexpr int Flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;
    try
    {
        return FileDescriptor::Open(path, Flags, PrivateMode);
    }
    catch (const IoException& exception)
    {
        if (exception.GetErrorNumber() != EEXIST || ::unlink(path.c_str()) == -1)
        {
            throw;
        }
    }
    return FileDescriptor::Open(path, Flags, PrivateMode);
}

} // namespace

ReplacementFile::ReplacementFile(const String& target)
    : target(target), path(target + FileUtils::CopySuffix), file(Create(path))
{
    // Not by the mode of creation: the service's umask takes the group's right away.
    if (::fchmod(file.Get(), FinalMode) == -1)
    {
        const int errorNumber = errno;
        static_cast<void>(::unlink(path.c_str()));
        throw IoException("set the mode of", path, errorNumber);
    }
}

ReplacementFile::~ReplacementFile()
{
    const bool somethingBeside = place == Place::Beside || place == Place::Exchanged;
    if (somethingBeside && ::unlink(path.c_str()) == -1)
    {
        Log(LogLevel::Warning, "Failed to delete '{0}': {1}", path, std::generic_category().message(errno));
    }
}

const FileDescriptor& ReplacementFile::GetFile() const noexcept
{
    return file;
}

void ReplacementFile::CheckIsMine() const
{
    const Status mine = file.GetStatus();
    Status named = {};
    if (::lstat(path.c_str(), &named) == -1)
    {
        throw IoException("find", path, errno);
    }
    if (mine.st_dev != named.st_dev || mine.st_ino != named.st_ino)
    {
        throw IoException("use a foreign", path, EBUSY);
    }
}

void ReplacementFile::TakeName(bool replace)
{
    CheckIsMine();
    int result = RenameEntry(path, target, RENAME_NOREPLACE);
    if (result == 0)
    {
        place = Place::Target;
        return;
    }
    if (replace && result == EEXIST)
    {
        result = RenameEntry(path, target, RENAME_EXCHANGE);
        place = result == 0 ? Place::Exchanged : place;
    }
    if (replace && result == EINVAL)
    {
        result = RenameEntry(path, target, 0);
        place = result == 0 ? Place::Replaced : place;
    }
    if (result != 0)
    {
        throw IoException("replace", target, result);
    }
}

bool ReplacementFile::GiveNameBack() noexcept
{
    if (place != Place::Target && place != Place::Exchanged)
    {
        return place == Place::Beside;
    }
    const unsigned int flags = place == Place::Exchanged ? RENAME_EXCHANGE : RENAME_NOREPLACE;
    if (RenameEntry(target, path, flags) != 0)
    {
        return false;
    }
    place = Place::Beside;
    return true;
}

} // namespace Zel::Services::SoftwareUpdate::Internal

#include "Zel/System/Commons/Io/FileSystemInfo.h"

#include "Zel/System/Commons/IoException.h"

#include <sys/stat.h>

#include <cerrno>

namespace Zel::System::Commons::Io
{

using Status = struct stat;

namespace
{

/// Returns 0, or an error number.
[[nodiscard]] int ReadStatus(const String& path, Status& status) noexcept
{
    if (path.find('\0') != String::npos)
    {
        return EINVAL;
    }
    return ::lstat(path.c_str(), &status) == 0 ? 0 : errno;
}

[[nodiscard]] Status GetStatus(const String& path)
{
    Status status = {};
    if (const int errorNumber = ReadStatus(path, status); errorNumber != 0)
    {
        throw IoException("read the facts of", path, errorNumber);
    }
    return status;
}

} // namespace

bool FileSystemInfo::IsFile(const String& path) noexcept
{
    Status status = {};
    return ReadStatus(path, status) == 0 && S_ISREG(status.st_mode);
}

DateTime FileSystemInfo::GetLastWriteTime(const String& path)
{
    const Status status = GetStatus(path);
    return DateTime::FromUnixTime(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
}

std::uint64_t FileSystemInfo::GetSize(const String& path)
{
    return static_cast<std::uint64_t>(GetStatus(path).st_size);
}

} // namespace Zel::System::Commons::Io

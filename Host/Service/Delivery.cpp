#include "Service/Delivery.h"

#include "Service/OwnFolder.h"

#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Commons/OutOfMemoryException.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

namespace Zel::Host::Service
{

using System::Commons::ArgumentException;
using System::Commons::IoException;
using System::Commons::OutOfMemoryException;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::File;
using System::Core::Format;

namespace
{

constexpr std::uint64_t PieceSize = std::uint64_t{8} * 1024 * 1024; // bytes between two orders to write back
/// What a bundle leaves free, in bytes: the status store needs it to keep how the installation ends.
constexpr std::uint64_t Reserve = std::uint64_t{4} * 1024 * 1024;
constexpr std::size_t BufferSize = std::size_t{1024} * 1024; // bytes

constexpr std::string_view Prefix = "bundle-";

/// Whether a delivery gives such names; what else lies in its folder is somebody else's.
bool IsOwnName(const String& name)
{
    return name.size() > Prefix.size() && name.starts_with(Prefix) &&
           name.find_first_not_of("0123456789", Prefix.size()) == String::npos;
}

[[noreturn]] void Refuse(const char* reason)
{
    throw ArgumentException("bundle", reason);
}

void CheckSource(const Delivery::FileDescriptor& source, const struct stat& status)
{
    const int flags = fcntl(source.Get(), F_GETFL);
    if (!S_ISREG(status.st_mode))
    {
        Refuse(S_ISDIR(status.st_mode)
                   ? "The bundle is a directory, not a regular file. Hand over a bundle's file."
                   : "The bundle is not a regular file. Hand over a bundle's file.");
    }
    if (flags < 0 || (flags & O_PATH) != 0 || (flags & O_ACCMODE) == O_WRONLY)
    {
        Refuse("The bundle is not open for reading.");
    }
    if (status.st_size == 0)
    {
        Refuse("The bundle is empty. Get it once more, and hand it over when it is complete.");
    }
}

bool IsSameContent(const struct stat& left, const struct stat& right)
{
    return left.st_size == right.st_size && left.st_mtim.tv_sec == right.st_mtim.tv_sec &&
           left.st_mtim.tv_nsec == right.st_mtim.tv_nsec;
}

/// Copies within the kernel as far as it does that: across file systems, and on some of them, it refuses or
/// copies nothing. Returns how many bytes were copied.
std::uint64_t CopyInKernel(const Delivery::FileDescriptor& source, const Delivery::FileDescriptor& target,
                           std::uint64_t size, const std::function<void()>& progress)
{
    off64_t offset = 0;
    while (static_cast<std::uint64_t>(offset) < size)
    {
        const off64_t begin = offset;
        const auto wanted =
            static_cast<std::size_t>(std::min(size - static_cast<std::uint64_t>(offset), PieceSize));
        if (copy_file_range(source.Get(), &offset, target.Get(), nullptr, wanted, 0) <= 0)
        {
            break;
        }
        // Written back while copying, the sync at the end is short.
        static_cast<void>(sync_file_range(target.Get(), begin, offset - begin, SYNC_FILE_RANGE_WRITE));
        progress();
    }
    return static_cast<std::uint64_t>(offset);
}

void CopyByBuffer(const Delivery::FileDescriptor& source, const Delivery::FileDescriptor& target,
                  std::uint64_t offset, std::uint64_t size, const std::function<void()>& progress)
{
    std::vector<char> buffer(BufferSize);
    while (offset < size)
    {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size - offset, BufferSize));
        const ssize_t count = pread(source.Get(), buffer.data(), wanted, static_cast<off_t>(offset));
        if (count < 0)
        {
            throw IoException("read", source.GetPath(), errno);
        }
        if (count == 0)
        {
            Refuse("The bundle became shorter while it was read. Stage it when its writer has finished.");
        }
        target.Write(buffer.data(), static_cast<std::size_t>(count));
        static_cast<void>(
            sync_file_range(target.Get(), static_cast<off64_t>(offset), count, SYNC_FILE_RANGE_WRITE));
        offset += static_cast<std::uint64_t>(count);
        progress();
    }
}

} // namespace

DeliveredFile::DeliveredFile(const Delivery& delivery, String path)
    : delivery(delivery), path(std::move(path))
{
}

DeliveredFile::~DeliveredFile()
{
    Remove();
}

void DeliveredFile::Remove() const noexcept
{
    delivery.Discard(path);
}

Delivery::Delivery(const String& folder) : folder(PrepareOwnFolder(folder))
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(this->folder, error))
    {
        if (IsOwnName(entry.path().filename().string()))
        {
            Log(LogLevel::Info, "Removing the unfinished delivery '{0}'.", entry.path().string());
            Discard(entry.path().string());
        }
    }
}

std::unique_ptr<DeliveredFile> Delivery::Take(const FileDescriptor& source,
                                              const std::function<void()>& progress)
{
    const struct stat before = source.GetStatus();
    CheckSource(source, before);
    const auto size = static_cast<std::uint64_t>(before.st_size);
    CheckRoom(size);
    auto target =
        std::make_unique<DeliveredFile>(*this, folder + "/" + String(Prefix) + std::to_string(++lastNumber));
    try
    {
        CopyTo(source, target->GetPath(), size, progress);
    }
    catch (const IoException& exception)
    {
        if (exception.GetErrorNumber() == ENOSPC || exception.GetErrorNumber() == EDQUOT)
        {
            throw OutOfMemoryException(
                Format("The bundle has {0} bytes, and '{1}' became full while it was copied.", size, folder));
        }
        throw;
    }
    if (!IsSameContent(before, source.GetStatus()))
    {
        Refuse("The bundle was changed while it was read. Stage it when its writer has finished.");
    }
    return target;
}

void Delivery::CopyTo(const FileDescriptor& source, const String& target, std::uint64_t size,
                      const std::function<void()>& progress) const
{
    constexpr mode_t Mode = S_IRUSR | S_IWUSR | S_IRGRP;
    const FileDescriptor file = FileDescriptor::Open(target, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, Mode);
    // RAUC makes root its owner: the service's own group has to be able to read it then, whatever the umask.
    if (fchmod(file.Get(), Mode) != 0)
    {
        throw IoException("change the mode of", target, errno);
    }
    // What stopped the kernel, a full disk for example, is met again and reported by the second way.
    CopyByBuffer(source, file, CopyInKernel(source, file, size, progress), size, progress);
    file.Sync();
}

void Delivery::CheckRoom(std::uint64_t size) const
{
    struct statvfs status = {};
    if (statvfs(folder.c_str(), &status) != 0)
    {
        throw IoException("determine the free space of", folder, errno);
    }
    const std::uint64_t available = std::uint64_t{status.f_bavail} * status.f_frsize;
    if (size + Reserve > available)
    {
        throw OutOfMemoryException(Format(
            "The bundle has {0} bytes, and only {1} bytes are free in '{2}', of which {3} have to stay free.",
            size, available, folder, Reserve));
    }
}

void Delivery::Discard(const String& path) const noexcept
{
    try
    {
        File::Delete(path, true);
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Error, "{0}", exception.GetMessage());
    }
}

} // namespace Zel::Host::Service

#include "Zel/System/Commons/Io/FileDescriptor.h"

#include "Zel/System/Commons/IoException.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Zel::System::Commons::Io
{

namespace
{

static_assert(sizeof(off_t) == 8, "bundles are larger than 32 bits can tell");

/// Repeats a system call that a signal interrupted.
template <typename Call>
[[nodiscard]] auto Uninterrupted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
    {
        result = call();
    }
    return result;
}

} // namespace

FileDescriptor FileDescriptor::Open(const String& path, int flags, mode_t mode)
{
    if (path.find('\0') != String::npos)
    {
        throw IoException("open", path, EINVAL);
    }
    const int descriptor = Uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); });
    if (descriptor == -1)
    {
        throw IoException("open", path, errno);
    }
    return {descriptor, path};
}

FileDescriptor FileDescriptor::Adopt(int descriptor, String path) noexcept
{
    return {descriptor, std::move(path)};
}

FileDescriptor::FileDescriptor(int descriptor, String path) noexcept
    : descriptor(descriptor), path(std::move(path))
{
}

FileDescriptor::~FileDescriptor()
{
    if (descriptor != -1)
    {
        // What matters was synced before; Linux frees the number also when it reports a failure.
        static_cast<void>(::close(descriptor));
    }
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)), path(std::move(other.path))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    FileDescriptor moved(std::move(other));
    std::swap(descriptor, moved.descriptor);
    std::swap(path, moved.path);
    return *this;
}

int FileDescriptor::Get() const noexcept
{
    return descriptor;
}

const String& FileDescriptor::GetPath() const noexcept
{
    return path;
}

struct stat FileDescriptor::GetStatus() const
{
    struct stat status = {};
    if (::fstat(descriptor, &status) == -1)
    {
        throw IoException("read the facts of", path, errno);
    }
    return status;
}

std::size_t FileDescriptor::Read(char* buffer, std::size_t size) const
{
    const ssize_t count = Uninterrupted([&] { return ::read(descriptor, buffer, size); });
    if (count == -1)
    {
        throw IoException("read", path, errno);
    }
    return static_cast<std::size_t>(count);
}

void FileDescriptor::Write(const char* buffer, std::size_t size) const
{
    while (size > 0)
    {
        const ssize_t count = Uninterrupted([&] { return ::write(descriptor, buffer, size); });
        if (count == -1)
        {
            throw IoException("write", path, errno);
        }
        buffer += count;
        size -= static_cast<std::size_t>(count);
    }
}

void FileDescriptor::Sync() const
{
    const int result = Uninterrupted([&] { return ::fsync(descriptor); });
    if (result == -1 && errno != EINVAL)
    {
        throw IoException("sync", path, errno);
    }
}

} // namespace Zel::System::Commons::Io

#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <sys/stat.h>

#include <cstddef>

namespace Zel::System::Commons::Io
{

/// Owns an open file. Every failure throws `IoException` with the path it was opened with. Moved, not copied;
/// the moved-from object is closed.
class ZEL_API FileDescriptor
{
public:
    /// Opens `path` as open(2) does; the descriptor is never inherited by other programs. `mode` is that of a
    /// created file before the process's umask.
    [[nodiscard]] static FileDescriptor Open(const String& path, int flags, mode_t mode = 0);

    /// Takes an open descriptor over, for example a received one; `path` is what messages call it.
    [[nodiscard]] static FileDescriptor Adopt(int descriptor, String path) noexcept;

    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    /// The number for system calls; -1 when closed. It stays owned here.
    [[nodiscard]] int Get() const noexcept;

    [[nodiscard]] const String& GetPath() const noexcept;

    [[nodiscard]] struct stat GetStatus() const;

    /// Reads up to `size` bytes at the file's position. Returns how many were read; 0 at the end.
    [[nodiscard]] std::size_t Read(char* buffer, std::size_t size) const;

    /// Writes all `size` bytes at the file's position.
    void Write(const char* buffer, std::size_t size) const;

    /// Returns when content and facts of the file are on the device. A file system that cannot sync this kind
    /// of file is no error.
    void Sync() const;

private:
    FileDescriptor(int descriptor, String path) noexcept;

    int descriptor;
    String path;
};

} // namespace Zel::System::Commons::Io

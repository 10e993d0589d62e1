#pragma once

#include "Zel/DateTime.h"
#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel::System::Commons::Io
{

/// Facts about what a path names, links not followed.
class ZEL_API FileSystemInfo
{
public:
    /// Whether `path` names a regular file; false also when that cannot be determined.
    [[nodiscard]] static bool IsFile(const String& path) noexcept;

    /// Returns the modification time in UTC, in ticks of 100 ns. Throws `IoException`.
    [[nodiscard]] static DateTime GetLastWriteTime(const String& path);

    /// Returns the size in bytes. Throws `IoException`.
    [[nodiscard]] static std::uint64_t GetSize(const String& path);
};

} // namespace Zel::System::Commons::Io

#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel::System::Commons::Io
{

/// Operations on regular files. A symbolic link is not a regular file. A path with a NUL byte names nothing.
class ZEL_API File
{
public:
    /// Whether `path` names a regular file; false also when that cannot be determined.
    [[nodiscard]] static bool Exists(const String& path) noexcept;

    /// Deletes a file (or a link, never its target; not a directory). Throws `IoException`; a missing file is
    /// an error unless `ignoreMissing`.
    static void Delete(const String& path, bool ignoreMissing = false);

    /// Returns the whole content, of files of the kernel too. Here alone links are followed, since settings
    /// and device facts are often linked to their place. Throws `IoException`, with EFBIG when there are more
    /// than `maximumSize` bytes and with EINVAL when the path does not lead to a regular file.
    [[nodiscard]] static String ReadAllText(const String& path, std::uint64_t maximumSize);
};

} // namespace Zel::System::Commons::Io

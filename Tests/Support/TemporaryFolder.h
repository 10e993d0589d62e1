#pragma once

#include "Zel/String.h"

#include <cstddef>
#include <vector>

namespace Zel::Tests::Support
{

/// A new folder that is deleted with everything in it.
class TemporaryFolder
{
public:
    /// Makes it in `parent`. Throws `Exception` when that is impossible.
    explicit TemporaryFolder(const String& parent = "/tmp");
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const String& GetPath() const noexcept { return path; }

    /// Returns the path of `name` in the folder.
    [[nodiscard]] String operator/(const String& name) const { return path + "/" + name; }

    /// Writes a file and returns its path.
    String Write(const String& name, const String& content) const;

    /// Returns the names in the folder, sorted.
    [[nodiscard]] std::vector<String> GetNames() const;

    /// Returns a file's content; throws `Exception` when it cannot be read.
    [[nodiscard]] static String Read(const String& path);

private:
    String path;
};

} // namespace Zel::Tests::Support

#pragma once

#include "Zel/String.h"

#include <vector>

namespace Zel::Tests::Support
{

/// A new folder below another one that is deleted with everything in it. Failures throw `Exception`.
class TemporaryFolder
{
public:
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

    /// Returns a file's content.
    [[nodiscard]] static String Read(const String& path);

private:
    String path;
};

} // namespace Zel::Tests::Support

#pragma once

#include "Zel/Exception.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Zel::Tests::Support
{

/// A new folder below another one that is deleted with everything in it. Failures throw `Exception`.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const String& parent = "/tmp") : path(parent + "/zel-test-XXXXXX")
    {
        Require(::mkdtemp(path.data()) != nullptr, "make " + path);
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const String& GetPath() const noexcept { return path; }

    /// Returns the path of `name` in the folder.
    [[nodiscard]] String operator/(const String& name) const { return path + "/" + name; }

    /// Writes a file and returns its path.
    String Write(const String& name, const String& content) const
    {
        std::ofstream stream(*this / name, std::ios::binary);
        Require(static_cast<bool>((stream << content).flush()), "write " + name);
        return *this / name;
    }

    /// Returns the names in the folder, sorted.
    [[nodiscard]] std::vector<String> GetNames() const
    {
        std::vector<String> names;
        for (const auto& entry : std::filesystem::directory_iterator(path))
        {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }

    /// Returns a file's content.
    [[nodiscard]] static String Read(const String& path)
    {
        const std::ifstream stream(path, std::ios::binary);
        Require(static_cast<bool>(stream), "read " + path);
        return (std::ostringstream() << stream.rdbuf()).str();
    }

private:
    static void Require(bool succeeded, const String& action)
    {
        succeeded ? void() : throw Exception("Failed to " + action);
    }

    String path;
};

} // namespace Zel::Tests::Support

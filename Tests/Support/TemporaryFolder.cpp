#include "Support/TemporaryFolder.h"

#include "Zel/Exception.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace Zel::Tests::Support
{

TemporaryFolder::TemporaryFolder(const String& parent) : path(parent + "/zel-test-XXXXXX")
{
    if (::mkdtemp(path.data()) == nullptr)
    {
        throw Exception("Failed to make a temporary folder in " + parent);
    }
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

String TemporaryFolder::Write(const String& name, const String& content) const
{
    String file = *this / name;
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    if (!stream.flush())
    {
        throw Exception("Failed to write " + file);
    }
    return file;
}

std::vector<String> TemporaryFolder::GetNames() const
{
    std::vector<String> names;
    for (const auto& entry : std::filesystem::directory_iterator(path))
    {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

String TemporaryFolder::Read(const String& path)
{
    const std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        throw Exception("Failed to read " + path);
    }
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

} // namespace Zel::Tests::Support

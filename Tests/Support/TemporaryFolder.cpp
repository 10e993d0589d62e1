#include "Support/TemporaryFolder.h"

#include "Zel/Exception.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace Zel::Tests::Support
{

namespace
{

void Require(bool succeeded, const String& action)
{
    if (!succeeded)
    {
        throw Exception("Failed to " + action);
    }
}

} // namespace

TemporaryFolder::TemporaryFolder(const String& parent) : path(parent + "/zel-test-XXXXXX")
{
    Require(::mkdtemp(path.data()) != nullptr, "make " + path);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

String TemporaryFolder::Write(const String& name, const String& content) const
{
    std::ofstream stream(*this / name, std::ios::binary);
    Require(static_cast<bool>((stream << content).flush()), "write " + name);
    return *this / name;
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
    Require(static_cast<bool>(stream), "read " + path);
    return (std::ostringstream() << stream.rdbuf()).str();
}

} // namespace Zel::Tests::Support

#include "Service/SetAsideFiles.h"

#include "Service/Clock.h"

#include "Zel/System/Commons/IoException.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <set>
#include <system_error>

namespace Zel::Host::Service
{

using System::Commons::IoException;

namespace
{

/// What lies beside a database goes along: parts of it may be there.
constexpr std::array Endings = {"", "-wal", "-shm"};

/// Returns the times in the names that begin with `prefix`, the earliest one first.
std::set<std::int64_t> FindTimes(const String& prefix)
{
    std::set<std::int64_t> times;
    std::error_code error;
    const std::filesystem::path path(prefix);
    const String wanted = path.filename();
    std::filesystem::directory_iterator entry(path.parent_path(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
    {
        const String name = entry->path().filename();
        std::int64_t time = 0;
        if (name.starts_with(wanted) &&
            std::from_chars(name.data() + wanted.size(), name.data() + name.size(), time).ec == std::errc())
        {
            times.insert(time);
        }
    }
    return times;
}

/// Leaves room for one more.
void RemoveOldest(const String& prefix)
{
    std::set<std::int64_t> times = FindTimes(prefix);
    for (; times.size() >= SetAsideFiles::Maximum; times.erase(times.begin()))
    {
        for (const char* ending : Endings)
        {
            std::error_code ignored;
            std::filesystem::remove(prefix + std::to_string(*times.begin()) + ending, ignored);
        }
    }
}

} // namespace

String SetAsideFiles::Add(const String& path, const String& kind)
{
    const String prefix = path + "." + kind + "-";
    // Before the new name is made: where the clock was set back, that is the oldest one.
    RemoveOldest(prefix);
    String aside = prefix + std::to_string(GetUnixTime());
    for (const char* ending : Endings)
    {
        std::error_code error;
        std::filesystem::rename(path + ending, aside + ending, error);
        if (error && error != std::errc::no_such_file_or_directory)
        {
            throw IoException("rename", path + ending, error.value());
        }
    }
    return aside;
}

} // namespace Zel::Host::Service

#include "Rows/Rows.h"

#include "Program.h"
#include "Support/TemporaryFolder.h"
#include "Zel/String.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace Zel::Benchmarks
{

using System::Core::Format;

namespace
{

/// Returns the names of the libraries that the library asks for.
[[nodiscard]] std::vector<String> ReadNeeded(const String& library)
{
    std::vector<String> needed;
    std::istringstream lines(ReadProgram({"readelf", "--dynamic", library}));
    for (String line; std::getline(lines, line);)
    {
        const auto begin = line.find('[');
        if (line.find("(NEEDED)") != String::npos && begin != String::npos)
        {
            needed.push_back(line.substr(begin + 1, line.find(']') - begin - 1));
        }
    }
    return needed;
}

[[nodiscard]] bool Has(const std::vector<String>& libraries, const String& prefix)
{
    return std::ranges::any_of(libraries, [&prefix](const String& name) { return name.starts_with(prefix); });
}

} // namespace

Results MeasureSize(const String& row, const Effort& /*effort*/)
{
    constexpr std::uintmax_t Limit = 350'000;
    const Tests::Support::TemporaryFolder folder;
    const auto stripped = folder / "stripped.so";
    RunProgram({"strip", "-o", stripped, RAUC_UPDATER_LIBRARY});
    const auto size = std::filesystem::file_size(stripped);
    const auto needed = ReadNeeded(stripped);
    const bool isLean = Has(needed, "libdbus-1.") && Has(needed, "libZelPlatform.") &&
                        std::ranges::none_of(std::array{"libglib", "libgobject", "libgio", "libQt"},
                                             [&needed](const char* heavy) { return Has(needed, heavy); });
    return {
        Judged(row, "libRaucUpdater.so, stripped", Format("{0:.1f} kB", static_cast<double>(size) / 1000),
               "at most 350 kB", size <= Limit),
        Judged(row, "links", Join(needed, ", "), "libdbus and the platform; nothing of GLib or Qt", isLean)};
}

} // namespace Zel::Benchmarks

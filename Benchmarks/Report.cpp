#include "Report.h"

#include "Zel/DateTime.h"
#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <dbus/dbus.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

namespace Zel::Benchmarks
{

using System::Core::Format;

namespace
{

using Cells = std::array<String, 5>;

const String BeginMark = "<!-- begin of what scripts/benchmark writes -->\n";
const String EndMark = "<!-- end of what scripts/benchmark writes -->\n";

[[nodiscard]] String GetText(Verdict verdict)
{
    switch (verdict)
    {
    case Verdict::Met:
        return "met";
    case Verdict::Missed:
        return "MISSED";
    case Verdict::NotMeasured:
        return "NOT MEASURED";
    default:
        return "";
    }
}

[[nodiscard]] Cells GetCells(const Result& result)
{
    const bool isMeasured = result.verdict != Verdict::NotMeasured;
    return {result.row, result.quantity, isMeasured ? result.measured : "not measured: " + result.measured,
            result.goal, GetText(result.verdict)};
}

void WriteLine(std::ostream& output, const Cells& cells, const std::array<std::size_t, 5>& widths)
{
    output << "|";
    for (std::size_t column = 0; column < cells.size(); ++column)
    {
        output << " " << cells[column] << String(widths[column] - cells[column].size(), ' ') << " |";
    }
    output << "\n";
}

/// Returns the value of the first line of a file such as /proc/cpuinfo that has this name.
[[nodiscard]] String ReadFact(const String& path, const String& name, char separator)
{
    std::ifstream file(path);
    for (String line; std::getline(file, line);)
    {
        if (line.starts_with(name))
        {
            const auto value = line.substr(line.find(separator) + 1);
            const auto begin = value.find_first_not_of(" \t\"");
            return value.substr(begin, value.find_last_not_of(" \t\"") - begin + 1);
        }
    }
    return "unknown";
}

void WriteFacts(std::ostream& output, const Effort& effort)
{
    utsname kernel{};
    ::uname(&kernel);
    struct sysinfo memory = {};
    ::sysinfo(&memory);
    std::array<int, 3> libdbus{};
    dbus_get_version(&libdbus[0], &libdbus[1], &libdbus[2]);
    output << Format("Measured on {0} with {1} processors ({2}), {3} MiB of memory, {4}, Linux {5}; ",
                     DateTime::GetUtcNow().ToIso8601String().substr(0, 10),
                     std::thread::hardware_concurrency(), ReadFact("/proc/cpuinfo", "model name", ':'),
                     memory.totalram / 1024 / 1024 * memory.mem_unit,
                     ReadFact("/etc/os-release", "PRETTY_NAME", '='), kernel.release)
           << Format("compiled by {0} {1} with -O2; libdbus {2}.{3}.{4}. ", ZEL_COMPILER_NAME, __VERSION__,
                     libdbus[0], libdbus[1], libdbus[2])
           << Format("Medians of {0} interleaved rounds.\n", effort.rounds);
}

[[nodiscard]] String ReadDocument(const String& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// Returns where the results begin and end.
[[nodiscard]] std::pair<std::size_t, std::size_t> FindPlace(const String& document, const String& path)
{
    const auto begin = document.find(BeginMark);
    const auto end = document.find(EndMark);
    if (begin == String::npos || end == String::npos || end < begin)
    {
        throw Exception("'" + path + "' has no place for the results");
    }
    return {begin, end};
}

} // namespace

void WriteTable(std::ostream& output, const Results& results)
{
    std::vector<Cells> lines = {{"row", "quantity", "measured", "goal", "verdict"}, {}};
    std::ranges::transform(results, std::back_inserter(lines), &GetCells);
    std::array<std::size_t, 5> widths{};
    for (const auto& line : lines)
    {
        for (std::size_t column = 0; column < line.size(); ++column)
        {
            widths[column] = std::max(widths[column], line[column].size());
        }
    }
    std::ranges::transform(widths, lines[1].begin(), [](std::size_t width) { return String(width, '-'); });
    for (const auto& line : lines)
    {
        WriteLine(output, line, widths);
    }
}

bool AreAllMet(const Results& results)
{
    return std::ranges::none_of(
        results, [](const Result& result)
        { return result.verdict == Verdict::Missed || result.verdict == Verdict::NotMeasured; });
}

void CheckDocument(const String& path)
{
    static_cast<void>(FindPlace(ReadDocument(path), path));
    if (!std::ofstream(path, std::ios::app))
    {
        throw Exception("'" + path + "' cannot be written");
    }
}

void UpdateDocument(const String& path, const Results& results, const Effort& effort)
{
    auto document = ReadDocument(path);
    const auto [begin, end] = FindPlace(document, path);
    std::ostringstream part;
    part << BeginMark << "\n";
    WriteFacts(part, effort);
    part << "\n";
    WriteTable(part, results);
    part << "\n";
    document.replace(begin, end - begin, part.str());
    if (!(std::ofstream(path) << document << std::flush))
    {
        throw Exception("'" + path + "' was not written in full");
    }
}

} // namespace Zel::Benchmarks

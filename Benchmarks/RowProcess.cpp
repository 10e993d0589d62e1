#include "RowProcess.h"

#include "Program.h"
#include "Zel/Exception.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>

namespace Zel::Benchmarks
{

namespace
{

using nlohmann::json;

[[nodiscard]] Results NotMeasured(const Row& row, const String& reason)
{
    return {{row.name, "", reason, "", Verdict::NotMeasured}};
}

[[nodiscard]] Results Measure(const Row& row, const Effort& effort)
{
    try
    {
        return row.measure(row.name, effort);
    }
    catch (const std::exception& exception)
    {
        return NotMeasured(row, exception.what());
    }
}

[[nodiscard]] String ToText(const Results& results)
{
    json lines = json::array();
    for (const auto& result : results)
    {
        lines.push_back({result.row, result.quantity, result.measured, result.goal, result.verdict});
    }
    return lines.dump(-1, ' ', false, json::error_handler_t::replace);
}

[[nodiscard]] Results FromText(const String& text)
{
    Results results;
    for (const auto& line : json::parse(text))
    {
        results.push_back({line[0], line[1], line[2], line[3], line[4].get<Verdict>()});
    }
    return results;
}

[[noreturn]] void RunChild(const Row& row, const Effort& effort, int descriptor)
{
    const auto text = ToText(Measure(row, effort));
    const bool isWritten = ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    // Ends what the row started, too: the private bus is a static object.
    std::exit(isWritten ? EXIT_SUCCESS : EXIT_FAILURE);
}

} // namespace

Results MeasureInProcess(const Row& row, const Effort& effort)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw Exception("Failed to make a pipe");
    }
    const pid_t process = ::fork();
    if (process == 0)
    {
        ::close(ends[0]);
        RunChild(row, effort, ends[1]);
    }
    ::close(ends[1]);
    const auto text = ReadAll(ends[0]);
    ::close(ends[0]);
    if (process == -1)
    {
        throw Exception("Failed to start a process");
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    const bool hasEnded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return hasEnded ? FromText(text) : NotMeasured(row, "the measurement broke off");
}

} // namespace Zel::Benchmarks

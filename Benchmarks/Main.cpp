#include "Report.h"
#include "RowProcess.h"
#include "Zel/Exception.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace Zel::Benchmarks
{
namespace
{

struct Options
{
    bool isQuick = false;
    std::size_t calls = 0;
    String document;
    String folder;
    std::vector<String> rows;
};

[[nodiscard]] Effort GetEffort(const Options& options)
{
    Effort effort = options.isQuick ? QuickEffort : Effort();
    if (options.calls > 0)
    {
        effort.calls = options.calls;
    }
    if (!options.folder.empty())
    {
        effort.folder = options.folder;
    }
    return effort;
}

[[nodiscard]] bool IsWanted(const Options& options, const String& name)
{
    return options.rows.empty() || std::ranges::find(options.rows, name) != options.rows.end();
}

int Run(const Options& options)
{
    if (!options.document.empty())
    {
        CheckDocument(options.document);
    }
    const auto effort = GetEffort(options);
    Results results;
    for (const auto& row : GetRows())
    {
        if (IsWanted(options, row.name))
        {
            std::cerr << "Measuring " << row.name << " ..." << std::endl;
            const auto measured = MeasureInProcess(row, effort);
            results.insert(results.end(), measured.begin(), measured.end());
        }
    }
    WriteTable(std::cout, results);
    if (!options.document.empty())
    {
        UpdateDocument(options.document, results, effort);
    }
    return AreAllMet(results) ? 0 : 1;
}

} // namespace
} // namespace Zel::Benchmarks

int main(int argumentCount, char** arguments)
{
    using namespace Zel::Benchmarks;
    Options options;
    std::vector<std::string> names;
    std::ranges::transform(GetRows(), std::back_inserter(names), &Row::name);
    CLI::App application("Measures the rows of docs/Benchmarks.md; ends with 1 when a goal is not met.");
    application.add_flag("--quick", options.isQuick, "3 short rounds and 20000 calls, for a look in between");
    application.add_option("--calls", options.calls, "calls of the row no-lost-reply");
    application
        .add_option("--folder", options.folder,
                    "where the rows transfer-* keep their file systems instead of /tmp")
        ->check(CLI::ExistingDirectory);
    application.add_option("--document", options.document, "the document to put the results into");
    application.add_option("row", options.rows, "rows to measure; all without any")
        ->check(CLI::IsMember(names));
    CLI11_PARSE(application, argumentCount, arguments);
    try
    {
        return Run(options);
    }
    catch (const std::exception& exception)
    {
        static_cast<void>(std::fprintf(stderr, "benchmark: %s\n", exception.what()));
        return 2;
    }
}

#pragma once

#include "Cli/ExitCode.h"
#include "Cli/Report.h"

#include "Zel/String.h"

#include <ostream>

namespace Zel::Host::Cli
{

/// The two ways in which the program speaks: lines for people, or one JSON object on standard output. Escapes
/// what a terminal could obey; texts of callers may hold anything.
class Output
{
public:
    /// The streams must live longer.
    Output(std::ostream& out, std::ostream& err, bool json);

    /// Writes a line about what is being done; nothing with JSON.
    void WriteLine(const String& text);

    /// Writes the report: facts, summary and what comes next. A failure's summary goes to standard error,
    /// after "zelupdate: "; with JSON the object is on standard output in any case.
    void Write(const Report& report, const String& command);

    /// Writes the one line of a wrong call.
    void WriteUsageError(const String& text);

    /// Whether standard output is reserved for the JSON object.
    [[nodiscard]] bool IsJson() const noexcept { return json; }

    [[nodiscard]] std::ostream& GetStream() noexcept { return out; }

private:
    std::ostream& out;
    std::ostream& err;
    bool json;
};

} // namespace Zel::Host::Cli

#pragma once

#include "Cli/Report.h"

#include "Zel/String.h"

#include <ostream>

namespace Zel::Host::Cli
{

/// How much the program says, and in which form.
struct OutputStyle
{
    /// JSON objects on standard output and nothing else there.
    bool json = false;
    /// Facts and failures only.
    bool quiet = false;
};

/// The two ways in which the program speaks: lines for people, or one JSON object on standard output. Escapes
/// what a terminal could obey; texts of callers may hold anything.
class Output
{
public:
    /// The streams must live longer. `command` is the verb.
    Output(std::ostream& out, std::ostream& err, OutputStyle style, String command);

    /// Writes a line about what is being done; nothing with JSON or when quiet.
    void WriteLine(const String& text);

    /// Writes the report: facts, tables, summary and what comes next. A failure's summary goes to standard
    /// error, after "zelupdate: "; with JSON the object is on standard output in any case.
    void Write(const Report& report);

    /// Writes a report in the course of a command: one line with its facts and its summary, or one JSON
    /// object.
    void WriteEvent(const Report& report);

    /// Writes `text` without a line end to standard error, where the operator sees it in any case.
    void WriteQuestion(const String& text);

    /// Whether progress is to be shown.
    [[nodiscard]] bool ShowsProgress() const noexcept { return !style.json && !style.quiet; }

    [[nodiscard]] std::ostream& GetStream() noexcept { return out; }

private:
    void WriteJson(const Report& report);
    void WriteLines(const Report& report);

    std::ostream& out;
    std::ostream& err;
    const OutputStyle style;
    const String command;
};

} // namespace Zel::Host::Cli

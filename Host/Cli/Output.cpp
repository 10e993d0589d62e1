#include "Cli/Output.h"

#include "Cli/Facts.h"
#include "Cli/Printable.h"

#include <nlohmann/json.hpp>

namespace Zel::Host::Cli
{

using Json = nlohmann::ordered_json;

namespace
{

/// Raised when a name in the object changes its meaning or goes; new names do not raise it.
constexpr int SchemaNumber = 1;
constexpr int NoIndent = -1;

const String ProgramPrefix = "zelupdate: ";

/// The number that a shell sees: a process that a signal ended counts as 128 and the signal.
int ToProcessStatus(const Report& report)
{
    return report.signalNumber != 0 ? 128 + report.signalNumber : static_cast<int>(report.exitCode);
}

Json ToJson(const Report& report, const String& command)
{
    const auto textOrNull = [](const String& text) { return text.empty() ? Json(nullptr) : Json(text); };
    Json object;
    object["schema"] = SchemaNumber;
    object["command"] = command;
    object["exitCode"] = ToProcessStatus(report);
    object["outcome"] = report.outcome;
    object["component"] = report.component ? Json(report.component->id) : Json(nullptr);
    if (report.component)
    {
        Facts::AddTo(object, *report.component, report.facts);
    }
    object["summary"] = textOrNull(report.summary);
    object["error"] = textOrNull(report.errorName);
    object["next"] = textOrNull(report.next);
    return object;
}

void WriteSentences(std::ostream& stream, const String& summary, const String& next)
{
    if (!summary.empty())
    {
        stream << Printable(summary) << '\n';
    }
    if (!next.empty())
    {
        stream << "Next: " << Printable(next) << '\n';
    }
    stream << std::flush;
}

} // namespace

Output::Output(std::ostream& out, std::ostream& err, bool json) : out(out), err(err), json(json) {}

void Output::WriteLine(const String& text)
{
    if (!json)
    {
        out << Printable(text) << std::endl;
    }
}

void Output::Write(const Report& report, const String& command)
{
    if (json)
    {
        // Texts from the bus are valid UTF-8, file names need not be; ASCII alone cannot steer a terminal.
        const auto handler = Json::error_handler_t::replace;
        out << ToJson(report, command).dump(NoIndent, ' ', true, handler) << std::endl;
    }
    const bool done = report.exitCode == ExitCode::Done;
    if (!json && report.component)
    {
        for (const String& line : Facts::ToLines(*report.component, report.facts))
        {
            out << line << '\n';
        }
        out << std::flush;
    }
    if (!done)
    {
        WriteSentences(err, ProgramPrefix + report.summary, report.next);
    }
    else if (!json)
    {
        WriteSentences(out, report.summary, report.next);
    }
}

void Output::WriteUsageError(const String& text)
{
    err << ProgramPrefix << Printable(text) << std::endl;
}

} // namespace Zel::Host::Cli

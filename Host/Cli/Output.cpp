#include "Cli/Output.h"

#include "Cli/Printable.h"
#include "Cli/TableText.h"
#include "Zel/System/Core/Format.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace Zel::Host::Cli
{

using Json = nlohmann::ordered_json;
using System::Core::Format;

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

Json ToJson(const FactValue& value)
{
    return std::visit(
        [](const auto& held) -> Json
        {
            if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>)
            {
                return nullptr;
            }
            else
            {
                return held;
            }
        },
        value);
}

Json ToJson(const Table& table)
{
    Json rows = Json::array();
    for (const TableRow& row : table.rows)
    {
        Json object = Json::object();
        for (std::size_t index = 0; index < table.columns.size(); ++index)
        {
            object[table.columns[index].name] = ToJson(row.cells.at(index));
        }
        for (const Table& details : row.details)
        {
            object[details.name] = ToJson(details);
        }
        rows.push_back(std::move(object));
    }
    return rows;
}

Json ToJson(const Report& report, const String& command)
{
    const auto textOrNull = [](const String& text) { return text.empty() ? Json(nullptr) : Json(text); };
    Json object;
    object["schema"] = SchemaNumber;
    object["command"] = textOrNull(command);
    object["exitCode"] = ToProcessStatus(report);
    object["outcome"] = report.outcome;
    object["component"] = textOrNull(report.component);
    for (const Fact& fact : report.facts)
    {
        for (const NamedValue& value : fact.values)
        {
            object[Json::json_pointer(value.pointer)] = ToJson(value.value);
        }
    }
    for (const Table& table : report.tables)
    {
        object[table.name] = ToJson(table);
    }
    object["summary"] = textOrNull(report.summary);
    object["error"] = textOrNull(report.errorName);
    object["next"] = textOrNull(report.next);
    return object;
}

bool IsFailure(const Report& report)
{
    return report.exitCode != ExitCode::Done && report.exitCode != ExitCode::RestartNeeded;
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

Output::Output(std::ostream& out, std::ostream& err, OutputStyle style, String command)
    : out(out), err(err), style(style), command(std::move(command))
{
}

void Output::WriteLine(const String& text)
{
    if (ShowsProgress())
    {
        out << Printable(text) << std::endl;
    }
}

void Output::Write(const Report& report)
{
    if (style.json)
    {
        WriteJson(report);
    }
    else
    {
        WriteLines(report);
    }
    if (IsFailure(report))
    {
        WriteSentences(err, ProgramPrefix + report.summary, report.next);
    }
}

void Output::WriteEvent(const Report& report)
{
    if (style.json)
    {
        WriteJson(report);
        return;
    }
    std::vector<String> pieces;
    for (const Fact& fact : report.facts)
    {
        const String text = fact.text.empty() ? "none" : fact.text;
        pieces.push_back(fact.label.empty() ? text : Format("{0}: {1}", fact.label, text));
    }
    if (!report.summary.empty())
    {
        pieces.push_back(report.summary);
    }
    out << Printable(Join(pieces, "; ")) << std::endl;
}

void Output::WriteQuestion(const String& text)
{
    err << Printable(text) << ' ' << std::flush;
}

void Output::WriteJson(const Report& report)
{
    // Texts from the bus are valid UTF-8, file names need not be; ASCII alone cannot steer a terminal.
    const auto handler = Json::error_handler_t::replace;
    out << ToJson(report, command).dump(NoIndent, ' ', true, handler) << std::endl;
}

void Output::WriteLines(const Report& report)
{
    for (const Fact& fact : report.facts)
    {
        const String shown = fact.text.empty() ? "none" : Printable(fact.text);
        out << (fact.label.empty() ? "" : Format("{0:<19}{1}\n", fact.label + ":", shown));
    }
    for (const Table& table : report.tables)
    {
        for (const String& line : ToTextLines(table))
        {
            out << line << '\n';
        }
    }
    out << std::flush;
    if (!IsFailure(report) && !style.quiet)
    {
        WriteSentences(out, report.summary, report.next);
    }
}

} // namespace Zel::Host::Cli

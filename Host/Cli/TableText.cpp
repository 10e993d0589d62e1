#include "Cli/TableText.h"

#include "Cli/Printable.h"

#include <algorithm>

namespace Zel::Host::Cli
{

namespace
{

using Line = std::vector<String>;

constexpr std::size_t Gap = 2;    // columns of text between two columns of the table
constexpr std::size_t Indent = 4; // of details

struct ToText
{
    String operator()(std::monostate /*none*/) const { return "-"; }

    String operator()(bool value) const { return value ? "yes" : "no"; }

    String operator()(std::int64_t value) const { return std::to_string(value); }

    String operator()(const std::vector<String>& texts) const { return (*this)(Join(texts, ", ")); }

    String operator()(const String& text) const
    {
        const String shown = Printable(text);
        return shown.empty() ? "-" : shown;
    }
};

Line ToLine(const TableRow& row)
{
    Line line;
    std::transform(row.cells.begin(), row.cells.end(), std::back_inserter(line),
                   [](const FactValue& cell) { return std::visit(ToText(), cell); });
    return line;
}

void Widen(std::vector<std::size_t>& widths, const Line& line)
{
    for (std::size_t index = 0; index < widths.size(); ++index)
    {
        widths[index] = std::max(widths[index], CountColumns(line[index]));
    }
}

String Align(const Line& line, const std::vector<std::size_t>& widths)
{
    String text;
    for (std::size_t index = 0; index < line.size(); ++index)
    {
        text += line[index];
        const bool last = index + 1 == line.size();
        text += last ? "" : String(widths[index] - CountColumns(line[index]) + Gap, ' ');
    }
    return text;
}

} // namespace

std::vector<String> ToTextLines(const Table& table)
{
    if (table.rows.empty())
    {
        return {};
    }
    Line headings;
    std::transform(table.columns.begin(), table.columns.end(), std::back_inserter(headings),
                   [](const Column& column) { return column.heading; });
    std::vector<std::size_t> widths(headings.size(), 0);
    Widen(widths, headings);
    for (const TableRow& row : table.rows)
    {
        Widen(widths, ToLine(row));
    }
    std::vector<String> lines = {Align(headings, widths)};
    for (const TableRow& row : table.rows)
    {
        lines.push_back(Align(ToLine(row), widths));
        for (const Table& details : row.details)
        {
            for (const String& line : ToTextLines(details))
            {
                lines.push_back(String(Indent, ' ') + line);
            }
        }
    }
    return lines;
}

} // namespace Zel::Host::Cli

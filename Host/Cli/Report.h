#pragma once

#include "Cli/ExitCode.h"

#include "Zel/String.h"

#include <cstdint>
#include <variant>
#include <vector>

namespace Zel::Host::Cli
{

/// One value; the first alternative stands for what there is not.
using FactValue = std::variant<std::monostate, bool, std::int64_t, String, std::vector<String>>;

/// A value with its place in the JSON object, for example "/versions/current".
struct NamedValue
{
    String pointer;
    FactValue value;
};

/// One fact for people, and the same for scripts.
struct Fact
{
    /// Empty where the summary tells the fact.
    String label;
    /// Empty where there is none.
    String text;
    std::vector<NamedValue> values;
};

struct Column
{
    /// For people.
    String heading;
    /// The name in the JSON objects of the rows.
    String name;
};

struct Table;

struct TableRow
{
    /// As many as there are columns.
    std::vector<FactValue> cells;
    /// Shown below the row.
    std::vector<Table> details;
};

/// Facts of which there are several of a kind: an array of objects in JSON.
struct Table
{
    String name;
    std::vector<Column> columns;
    std::vector<TableRow> rows;
};

/// How a command ended: everything that is said at its end, in words and as JSON. All texts are as received.
struct Report
{
    ExitCode exitCode = ExitCode::Done;
    /// One stable word for scripts, for example "restarting" or "nothing-to-do"; "error" for what was
    /// refused.
    String outcome;
    /// What happened, in one or two sentences; may be empty where the facts tell it.
    String summary;
    /// What comes next, one sentence: the last line.
    String next;
    /// The D-Bus error behind a failure, without the service's prefix; otherwise empty.
    String errorName;
    /// The ID of the component that was chosen; otherwise empty.
    String component;
    std::vector<Fact> facts;
    std::vector<Table> tables;
    /// The signal that the process ends by after the report; 0 for none.
    int signalNumber = 0;
};

} // namespace Zel::Host::Cli

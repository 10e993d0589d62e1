#include "Cli/Commands/Verbs.h"

#include "Cli/CommandError.h"
#include "Cli/ErrorTable.h"
#include "Cli/Facts.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

Report ToReport(const String& error, int exitCode, std::string_view meaning, std::string_view advice)
{
    Report report;
    report.outcome = "shown";
    report.facts = {
        {"Exit code", std::to_string(exitCode), {{"/explained/exitCode", std::int64_t{exitCode}}}},
        Facts::Text("Error", "/explained/error", error),
        Facts::Text("Meaning", "/explained/meaning", String(meaning)),
        Facts::Text("What to do", "/explained/advice", String(advice))};
    return report;
}

/// Whether `code` is the row's error, with or without what comes before its last part.
bool Names(const String& code, const ErrorRow& row)
{
    const String name = ToLower(String(row.name.substr(0, row.name.find_last_not_of('.') + 1)));
    const String wanted = ToLower(code);
    const bool ofMany = row.name.ends_with('.') && wanted.starts_with(name + ".");
    return ofMany || name == wanted || name.ends_with("." + wanted);
}

} // namespace

Report RunExplain(Session& session)
{
    const String& code = session.GetArguments().code;
    for (const ExitCodeRow& row : ExitCodeRows)
    {
        if (code == std::to_string(row.code))
        {
            return ToReport("", row.code, row.meaning, row.advice);
        }
    }
    for (const ErrorRow& row : ErrorTable::GetRows())
    {
        if (Names(code, row))
        {
            return ToReport(String(row.name), static_cast<int>(row.exitCode), row.meaning, row.hint);
        }
    }
    throw CommandError(
        ExitCode::NotFound, Format("there is no exit code or error '{0}'", code),
        "'zelupdate --help' lists the exit codes; 'zelupdate status --json' shows an error's name "
        "as \"error\".");
}

} // namespace Zel::Host::Cli

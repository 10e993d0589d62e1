#include "Cli/CommandLine.h"

#include "Api/Version.h"
#include "Cli/CommandError.h"
#include "Cli/Commands/Verbs.h"
#include "Cli/TimeArguments.h"

#include <CLI/CLI.hpp>

#include <array>
#include <charconv>
#include <system_error>

namespace Zel::Host::Cli
{

namespace
{

const String ProgramName = "zelupdate";
const String SeeHelp = "; see 'zelupdate --help'";

/// The values of the options as they are written.
struct Texts
{
    std::optional<String> delay;
    std::optional<String> at;
    std::optional<String> timeout;
    std::optional<String> count;
};

struct FlagRow
{
    VerbOption option;
    const char* name;
    bool Arguments::*member;
    const char* help;
};

constexpr std::array FlagRows = {
    FlagRow{VerbOption::Fallback, "--fallback", &Arguments::fallback, "Install the fallback version"},
    FlagRow{VerbOption::NoWait, "--no-wait", &Arguments::noWait,
            "Return as soon as the installation is accepted"},
    FlagRow{VerbOption::Yes, "-y,--yes", &Arguments::yes, "Do not ask"},
    FlagRow{VerbOption::RestartExitCode, "--restart-exit-code", &Arguments::restartExitCode,
            "End with exit code 4 when a restart has to follow"},
    FlagRow{VerbOption::Watch, "--watch", &Arguments::watch,
            "Then show a line for each change, until Ctrl-C"},
    FlagRow{VerbOption::Steps, "--steps", &Arguments::steps, "Show the steps of each of them, too"},
};

struct TextRow
{
    VerbOption option;
    const char* name;
    const char* type;
    std::optional<String> Texts::*member;
    const char* help;
};

constexpr std::array TextRows = {
    TextRow{VerbOption::Delay, "--delay", "T", &Texts::delay,
            "Wait before the installation: 90, 90s, 5min, 2h"},
    TextRow{VerbOption::At, "--at", "TIME", &Texts::at,
            "At a time, local without a zone: 03:00, 2026-12-24T03:00:00, 2026-12-24T03:00:00Z"},
    TextRow{VerbOption::Timeout, "--timeout", "T", &Texts::timeout,
            "Wait no longer than that: 90, 90s, 5min, 2h"},
    TextRow{VerbOption::Count, "N", "", &Texts::count, "How many, 10 without it"},
};

void AddOption(CLI::App& verb, VerbOption option, Arguments& arguments, Texts& texts)
{
    for (const FlagRow& row : FlagRows)
    {
        if (row.option == option)
        {
            verb.add_flag(row.name, arguments.*row.member, row.help)->disable_flag_override();
        }
    }
    for (const TextRow& row : TextRows)
    {
        if (row.option == option)
        {
            verb.add_option(row.name, texts.*row.member, row.help)->type_name(row.type);
        }
    }
    switch (option)
    {
    case VerbOption::File:
        verb.add_option("FILE", arguments.file, "Bundle; - for standard input")->type_name("")->required();
        break;
    case VerbOption::PendingOrFile:
        verb.add_option(
                "FILE", arguments.file,
                "Bundle to hand over and install, - for standard input; without it the pending version")
            ->type_name("");
        break;
    case VerbOption::Code:
        verb.add_option("CODE", arguments.code, "Exit code, or an error's name, for example Busy")
            ->type_name("")
            ->required();
        break;
    default:
        break;
    }
}

void AddVerb(CLI::App& program, const Verb& verb, Arguments& arguments, Texts& texts)
{
    CLI::App* const added = program.add_subcommand(verb.name, verb.summary);
    added->group("Verbs");
    added->fallthrough();
    const String details = *verb.details != '\0' ? verb.details + String("\n") : "";
    added->footer(details + "Options of all verbs: --json, --quiet, --component ID; see 'zelupdate --help'.");
    added->final_callback([&arguments, &verb] { arguments.verb = &verb; });
    for (const VerbOption option : verb.options)
    {
        AddOption(*added, option, arguments, texts);
    }
}

void Describe(CLI::App& program, Arguments& arguments, Texts& texts)
{
    program.require_subcommand(1);
    program.get_formatter()->label("SUBCOMMAND", "VERB");
    program.set_version_flag("--version", ProgramName + " " + Api::Version, "Show the version");
    program
        .add_flag("--json", arguments.style.json, "Write one JSON object to standard output and nothing else")
        ->disable_flag_override();
    program.add_flag("--quiet", arguments.style.quiet, "Write facts and failures only")
        ->disable_flag_override();
    program.add_option("--component", arguments.component, "Component, where there are several")
        ->type_name("ID");
    program.footer(
        "Options of all verbs may stand before or behind the verb. NO_COLOR takes the colour away.\n"
        "Without a terminal nothing is asked, and progress is lines.\n\nExit codes:\n" +
        DescribeExitCodes());
    for (const Verb& verb : GetVerbs())
    {
        AddVerb(program, verb, arguments, texts);
    }
}

std::uint32_t ParseCount(const String& text)
{
    std::uint32_t count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || stop != end || count == 0)
    {
        throw CommandError(ExitCode::Usage, "'" + text + "' is no number of entries");
    }
    return count;
}

/// Reads what the options say, and checks what excludes each other.
void Complete(Arguments& arguments, const Texts& texts)
{
    if (arguments.file && arguments.fallback)
    {
        throw CommandError(ExitCode::Usage, "FILE and --fallback exclude each other" + SeeHelp);
    }
    if (texts.delay && texts.at)
    {
        throw CommandError(ExitCode::Usage, "--delay and --at exclude each other" + SeeHelp);
    }
    if (texts.delay)
    {
        arguments.delay = ParseSpan(*texts.delay, "delay");
    }
    if (texts.at)
    {
        arguments.start = ParseStart(*texts.at, std::chrono::system_clock::now());
    }
    if (texts.timeout)
    {
        arguments.timeout = ParseSpan(*texts.timeout, "time to wait");
    }
    if (texts.count)
    {
        arguments.count = ParseCount(*texts.count);
    }
}

/// Returns one line that tells what is wrong with the call.
String Explain(const CLI::App& program, const CLI::ParseError& error)
{
    const std::vector<String> unexpected = program.remaining(true);
    if (program.get_subcommands().empty() && !unexpected.empty() && !unexpected.front().starts_with('-'))
    {
        return "there is no verb '" + unexpected.front() + "'";
    }
    if (program.get_subcommands().empty() && unexpected.empty() && error.get_name() == "RequiredError")
    {
        return "a verb is missing";
    }
    return unexpected.empty() ? error.what() : "'" + unexpected.front() + "' was not expected";
}

} // namespace

std::variant<Arguments, String> CommandLine::Parse(const std::vector<String>& arguments)
{
    Arguments result;
    Texts texts;
    CLI::App program("Updates this device's software: the command line of the update service.", ProgramName);
    Describe(program, result, texts);
    try
    {
        program.parse(std::vector<String>(arguments.rbegin(), arguments.rend()));
    }
    catch (const CLI::CallForVersion& version)
    {
        return String(version.what()) + "\n";
    }
    catch (const CLI::CallForHelp&)
    {
        return program.help();
    }
    catch (const CLI::ParseError& error)
    {
        throw CommandError(ExitCode::Usage, Explain(program, error) + SeeHelp);
    }
    Complete(result, texts);
    return result;
}

} // namespace Zel::Host::Cli

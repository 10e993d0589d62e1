#include "Cli/CommandLine.h"

#include "Cli/CommandError.h"
#include "Cli/Commands/Verbs.h"
#include "Cli/Delay.h"
#include "Cli/Version.h"

#include <CLI/CLI.hpp>

namespace Zel::Host::Cli
{

namespace
{

const String ProgramName = "zelupdate";
const String SeeHelp = "; see 'zelupdate --help'";

const String Footer =
    R"(Options of all verbs may stand before or behind the verb. A wrong call ends with one line on standard error.

Exit codes:
  0   done, or nothing to do; 'status' and 'versions' end so whatever they show
  1   failed
  2   wrong call
  3   no such file, component or version
  5   refused now, try later
  6   the bundle was rejected
  7   the bus or the service cannot be reached
  8   the device switched back
  10  not allowed
Ctrl-C leaves the update running.)";

/// The values of the options as they are written.
struct Texts
{
    std::optional<String> delay;
};

void AddOption(CLI::App& verb, VerbOption option, Arguments& arguments, Texts& texts)
{
    switch (option)
    {
    case VerbOption::File:
        verb.add_option("FILE", arguments.file,
                        "Bundle to hand over and install; without it the pending version")
            ->type_name("");
        break;
    case VerbOption::Fallback:
        verb.add_flag("--fallback", arguments.fallback, "Install the fallback version")
            ->disable_flag_override()
            ->excludes("FILE");
        break;
    case VerbOption::Delay:
        verb.add_option("--delay", texts.delay, "Wait before the installation: 90, 90s, 5min, 2h")
            ->type_name("T");
        break;
    case VerbOption::NoWait:
        verb.add_flag("--no-wait", arguments.noWait, "Return as soon as the installation is accepted")
            ->disable_flag_override();
        break;
    }
}

void AddVerb(CLI::App& program, const Verb& verb, Arguments& arguments, Texts& texts)
{
    CLI::App* const added = program.add_subcommand(verb.name, verb.summary);
    added->group("Verbs");
    added->fallthrough();
    added->footer("Options of all verbs: --json, --component ID; see 'zelupdate --help'.");
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
    program.set_version_flag("--version", ProgramName + " " + ProgramVersion, "Show the version");
    program.add_flag("--json", arguments.json, "Write one JSON object to standard output and nothing else")
        ->disable_flag_override();
    program.add_option("--component", arguments.component, "Component, where there are several")
        ->type_name("ID");
    program.footer(Footer);
    for (const Verb& verb : GetVerbs())
    {
        AddVerb(program, verb, arguments, texts);
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
    if (unexpected.empty() && error.get_name() == "RequiredError")
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
    if (texts.delay)
    {
        result.delay = ParseDelay(*texts.delay);
    }
    return result;
}

} // namespace Zel::Host::Cli

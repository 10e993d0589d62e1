#include "Cli/CommandLine.h"

#include "Cli/Application.h"
#include "Cli/Commands/Verbs.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Zel::Host::Cli
{

namespace
{

using std::chrono::milliseconds;

struct WrongCall
{
    std::vector<String> arguments;
    String line;
};

TEST(CommandLineTest, AWrongCallGivesOneLineOnStandardErrorAndExitCodeTwo)
{
    const std::vector<WrongCall> calls = {
        {{}, "a verb is missing; see 'zelupdate --help'"},
        {{"--json"}, "a verb is missing; see 'zelupdate --help'"},
        {{"update"}, "there is no verb 'update'; see 'zelupdate --help'"},
        {{"--json", "foo\x1B[2J"}, "there is no verb 'foo\\x1B[2J'; see 'zelupdate --help'"},
        {{"--nope", "status"}, "'--nope' was not expected; see 'zelupdate --help'"},
        {{"status", "--nope"}, "'--nope' was not expected; see 'zelupdate --help'"},
        {{"status", "revert"}, "'revert' was not expected; see 'zelupdate --help'"},
        {{"status", "--delay", "5"}, "'--delay' was not expected; see 'zelupdate --help'"},
        {{"install", "a.raucb", "b.raucb"}, "'b.raucb' was not expected; see 'zelupdate --help'"},
        {{"install", "a.raucb", "--fallback"}, "FILE excludes --fallback; see 'zelupdate --help'"},
        {{"install", "--delay"}, "--delay: 1 required T missing; see 'zelupdate --help'"},
        {{"install", "--delay", "soon"},
         "'soon' is no delay: write a whole number and s, min or h, for example 90s"},
        {{"install", "--delay", ""}, "'' is no delay: write a whole number and s, min or h, for example 90s"},
        {{"versions", "--component"}, "--component: 1 required ID missing; see 'zelupdate --help'"},
    };
    for (const WrongCall& call : calls)
    {
        std::ostringstream out;
        std::ostringstream err;
        EXPECT_EQ(Application::Run(call.arguments, out, err, Terminal()), 2) << call.line;
        EXPECT_EQ(err.str(), "zelupdate: " + call.line + "\n");
        EXPECT_EQ(out.str(), "");
    }
}

Arguments Parse(const std::vector<String>& arguments)
{
    return std::get<Arguments>(CommandLine::Parse(arguments));
}

TEST(CommandLineTest, OptionsOfAllVerbsMayStandBeforeAndBehindTheVerb)
{
    for (const Verb& verb : GetVerbs())
    {
        const String name = verb.name;
        for (const auto& call : std::vector<std::vector<String>>{{"--json", "--component", "A B", name},
                                                                 {name, "--component=A B", "--json"}})
        {
            const Arguments arguments = Parse(call);
            EXPECT_EQ(arguments.verb, &verb);
            EXPECT_TRUE(arguments.json);
            EXPECT_EQ(arguments.component, "A B");
        }
    }
}

TEST(CommandLineTest, InstallTakesFileDelayAndNoWait)
{
    const Arguments plain = Parse({"install"});
    EXPECT_FALSE(plain.file);
    EXPECT_FALSE(plain.fallback || plain.noWait || plain.json);
    EXPECT_EQ(plain.delay, milliseconds(0));

    const Arguments full = Parse({"install", "--no-wait", "--delay", "5min", "--", "-odd name.raucb"});
    EXPECT_EQ(full.file, "-odd name.raucb");
    EXPECT_EQ(full.delay, milliseconds(300'000));
    EXPECT_TRUE(full.noWait);

    EXPECT_TRUE(Parse({"install", "--fallback"}).fallback);
    // As from an unset variable of a script: not the pending version by mistake.
    EXPECT_EQ(Parse({"install", ""}).file, "");
}

TEST(CommandLineTest, HelpNamesEveryVerbAndTheVerbsHelpItsOptions)
{
    const String help = std::get<String>(CommandLine::Parse({"--help"}));
    for (const Verb& verb : GetVerbs())
    {
        EXPECT_NE(help.find(verb.summary), String::npos) << verb.name;
    }
    const String installHelp = std::get<String>(CommandLine::Parse({"install", "--help"}));
    for (const char* const option : {"FILE", "--fallback", "--delay T", "--no-wait"})
    {
        EXPECT_NE(installHelp.find(option), String::npos) << option;
    }
    EXPECT_TRUE(std::get<String>(CommandLine::Parse({"--version"})).starts_with("zelupdate "));
}

} // namespace

} // namespace Zel::Host::Cli

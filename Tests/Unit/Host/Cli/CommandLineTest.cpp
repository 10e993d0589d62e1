#include "Cli/CommandLine.h"

#include "Cli/Application.h"
#include "Cli/Commands/Verbs.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Zel::Host::Cli
{

TEST(CommandLineTest, AWrongCallGivesOneLineOnStandardErrorAndExitCodeTwo)
{
    const String help = "; see 'zelupdate --help'";
    const String noSpan = ": write a whole number and s, min or h, for example 90s";
    const std::vector<std::pair<std::vector<String>, String>> calls = {
        {{}, "a verb is missing" + help},
        {{"--quiet"}, "a verb is missing" + help},
        {{"foo\x1B[2J"}, "there is no verb 'foo\\x1B[2J'" + help},
        {{"--nope", "status"}, "'--nope' was not expected" + help},
        {{"status", "revert"}, "'revert' was not expected" + help},
        {{"status", "--delay", "5"}, "'--delay' was not expected" + help},
        {{"stage"}, "FILE is required" + help},
        {{"install", "a.raucb", "b.raucb"}, "'b.raucb' was not expected" + help},
        {{"install", "--delay", "1", "--at", "03:00"}, "--delay and --at exclude each other" + help},
        {{"install", "--delay", ""}, "'' is no delay" + noSpan},
        {{"wait", "--timeout", "soon"}, "'soon' is no time to wait" + noSpan},
        {{"history", "0"}, "'0' is no number of entries"},
        {{"history", "3x"}, "'3x' is no number of entries"},
        {{"versions", "--component"}, "--component: 1 required ID missing" + help},
    };
    for (const auto& [arguments, line] : calls)
    {
        std::ostringstream out;
        std::ostringstream err;
        EXPECT_EQ(Application::Run(arguments, out, err, Terminal()), 2) << line;
        EXPECT_EQ(err.str(), "zelupdate: " + line + "\n");
        EXPECT_EQ(out.str(), "");
    }
}

TEST(CommandLineTest, OptionsMayStandBeforeAndBehindTheVerbAndTheFile)
{
    for (const auto& call : std::vector<std::vector<String>>{
             {"--json", "--component", "A B", "install", "-y", "--", "-odd name"},
             {"install", "--yes", "--component=A B", "--json", "--", "-odd name"}})
    {
        const auto arguments = std::get<Arguments>(CommandLine::Parse(call));
        EXPECT_STREQ(arguments.verb->name, "install");
        EXPECT_TRUE(arguments.style.json && arguments.yes);
        EXPECT_FALSE(arguments.style.quiet || arguments.fallback || arguments.noWait || arguments.start);
        EXPECT_EQ(arguments.component, "A B");
        EXPECT_EQ(arguments.file, "-odd name");
    }
    // As from an unset variable of a script: not the pending version by mistake.
    EXPECT_EQ(std::get<Arguments>(CommandLine::Parse({"install", ""})).file, "");
}

} // namespace Zel::Host::Cli

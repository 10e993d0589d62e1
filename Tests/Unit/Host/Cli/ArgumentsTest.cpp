#include "Cli/Application.h"
#include "Cli/BundleFile.h"
#include "Cli/CommandError.h"
#include "Cli/CommandLine.h"
#include "Cli/TimeArguments.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
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
        EXPECT_EQ(out.str() + err.str(), "zelupdate: " + line + "\n");
    }
    // As from an unset variable of a script: not the pending version by mistake.
    EXPECT_EQ(std::get<Arguments>(CommandLine::Parse({"install", ""})).file, "");
}

/// Returns the exit code of the refusal, which names the argument; 0 without one.
template <typename Operation>
int GetExitCode(const String& argument, const Operation& operation)
{
    try
    {
        static_cast<void>(operation());
    }
    catch (const CommandError& error)
    {
        EXPECT_NE(error.GetMessage().find("'" + argument + "'"), String::npos) << error.GetMessage();
        return static_cast<int>(error.GetExitCode());
    }
    return 0;
}

TEST(BundleFileTest, OnlyARegularFileIsABundle)
{
    const Tests::Support::TemporaryFolder folder;
    const String file = folder.Write("good.raucb", "x");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("good.raucb", folder / "link");
    using Paths = std::vector<String>;
    for (const auto& [code, paths] :
         {std::pair{0, Paths{file}},
          {3, Paths{folder / "missing", file + "/below", ""}},
          {6, Paths{folder.GetPath(), folder / "link", folder / "fifo", "/dev/zero"}}})
    {
        for (const String& path : paths)
        {
            EXPECT_EQ(GetExitCode(path, [&] { return OpenBundle(path, InterruptSignals()); }), code) << path;
        }
    }
}

TEST(TimeArgumentsTest, ASpanIsAWholeNumberAndAUnitUpToTheLimit)
{
    for (const auto& [text, span] : {std::pair{"0", 0LL},
                                     {"090", 90'000},
                                     {"90s", 90'000},
                                     {"5min", 300'000},
                                     {"1193h", 4'294'800'000},
                                     {"4294967", 4'294'967'000}})
    {
        EXPECT_EQ(ParseSpan(text, "delay").count(), span) << text;
    }
    for (const char* const text : {"", "s", "-5", " 5", "5 s", "1.5h", "5m", "5S", "0x10", "4294968", "1194h",
                                   "18446744073709551615h", "99999999999999999999"})
    {
        EXPECT_EQ(GetExitCode(text, [text] { return ParseSpan(text, "delay"); }), 2) << text;
    }
}

TEST(TimeArgumentsTest, AStartIsLocalUnlessItSaysOtherwiseAndAheadWithinTheLimit)
{
    setenv("TZ", "UTC-2", 1); // two hours ahead: it is 09:00, 07:00:00Z
    const auto now = std::chrono::system_clock::from_time_t(1'795'244'400);
    for (const auto& [text, seconds] : {std::pair{"09:01", 60},
                                        {"09:00", 86'400},
                                        {"2026-11-21T09:00:05", 5},
                                        {"2026-11-21T07:00:05Z", 5},
                                        {"2026-11-21T08:00:05+01:00", 5},
                                        {"2027-01-10T00:02:47Z", 4'294'967}})
    {
        EXPECT_EQ(ParseStart(text, now) - now, std::chrono::seconds(seconds)) << text;
    }
    for (const char* const text :
         {"2026-11-21T06:59:59Z", "2027-01-10T00:02:48Z", "24:00", "9:01", "09:60", "soon", ""})
    {
        EXPECT_EQ(GetExitCode(text, [&] { return ParseStart(text, now); }), 2) << text;
    }
}

} // namespace Zel::Host::Cli

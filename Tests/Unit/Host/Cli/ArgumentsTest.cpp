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
    const std::vector<std::pair<String, int>> rows = {{file, 0},
                                                      {folder / "missing", 3},
                                                      {file + "/below", 3},
                                                      {"", 3},
                                                      {folder.GetPath(), 6},
                                                      {folder / "link", 6},
                                                      {folder / "fifo", 6},
                                                      {"/dev/zero", 6}};
    for (const auto& [path, code] : rows)
    {
        EXPECT_EQ(GetExitCode(path, [&, &name = path] { return OpenBundle(name, InterruptSignals()); }), code)
            << path;
    }
}

/// Milliseconds, or the error's exit code.
using TimeRow = std::pair<const char*, std::int64_t>;

TEST(TimeArgumentsTest, ASpanIsAWholeNumberAndAUnitUpToTheLimit)
{
    for (const auto& [text, expected] : {TimeRow{"0", 0},
                                         {"090", 90'000},
                                         {"90s", 90'000},
                                         {"5min", 300'000},
                                         {"1193h", 4'294'800'000},
                                         {"4294967", 4'294'967'000},
                                         {"", 2},
                                         {"s", 2},
                                         {"-5", 2},
                                         {" 5", 2},
                                         {"5 s", 2},
                                         {"1.5h", 2},
                                         {"5m", 2},
                                         {"5S", 2},
                                         {"0x10", 2},
                                         {"4294968", 2},
                                         {"1194h", 2},
                                         {"18446744073709551615h", 2},
                                         {"99999999999999999999", 2}})
    {
        std::int64_t span = 0;
        const int code = GetExitCode(text, [&, &word = text] { span = ParseSpan(word, "delay").count(); });
        EXPECT_EQ(code + span, expected) << text;
    }
}

TEST(TimeArgumentsTest, AStartIsLocalUnlessItSaysOtherwiseAndAheadWithinTheLimit)
{
    setenv("TZ", "UTC-2", 1); // two hours ahead: it is 09:00, 07:00:00Z
    const auto now = std::chrono::system_clock::from_time_t(1'795'244'400);
    for (const auto& [text, expected] : {TimeRow{"09:01", 60'000},
                                         {"09:00", 86'400'000},
                                         {"2026-11-21T09:00:05", 5'000},
                                         {"2026-11-21T07:00:05Z", 5'000},
                                         {"2026-11-21T08:00:05+01:00", 5'000},
                                         {"2027-01-10T00:02:47Z", 4'294'967'000},
                                         {"2026-11-21T06:59:59Z", 2},
                                         {"2027-01-10T00:02:48Z", 2},
                                         {"24:00", 2},
                                         {"9:01", 2},
                                         {"09:60", 2},
                                         {"soon", 2},
                                         {"", 2}})
    {
        std::chrono::system_clock::duration left{};
        const int code = GetExitCode(text, [&, &word = text] { left = ParseStart(word, now) - now; });
        EXPECT_EQ(code + left / std::chrono::milliseconds(1), expected) << text;
    }
}

} // namespace Zel::Host::Cli

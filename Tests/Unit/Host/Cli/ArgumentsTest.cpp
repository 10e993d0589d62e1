#include "Cli/Application.h"
#include "Cli/BundleFile.h"
#include "Cli/CommandError.h"
#include "Cli/CommandLine.h"
#include "Cli/TimeArguments.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace Zel::Host::Cli
{

using namespace testing;

TEST(CommandLineTest, AWrongCallGivesOneLineOnStandardErrorAndExitCodeTwo)
{
    const String help = "; see 'zelupdate --help'";
    const String noSpan = ": write a whole number and s, min or h, for example 90s";
    const std::vector<std::pair<std::vector<String>, String>> calls = {
        {{}, "a verb is missing" + help},
        {{"--quiet"}, "a verb is missing" + help},
        {{"--bogus"}, "'--bogus' was not expected" + help},
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

/// Whether an operation is refused with this exit code and names the argument.
auto Refuses(ExitCode code, const String& argument)
{
    return Throws<CommandError>(AllOf(Property(&CommandError::GetExitCode, code),
                                      Property(&CommandError::GetMessage, HasSubstr("'" + argument + "'"))));
}

TEST(BundleFileTest, OnlyARegularFileIsABundle)
{
    const Tests::Support::TemporaryFolder folder;
    const String file = folder.Write("good.raucb", "x");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("good.raucb", folder / "link");
    const auto open = [](const String& path) { return [=] { return OpenBundle(path, InterruptSignals()); }; };
    EXPECT_NO_THROW(static_cast<void>(open(file)()));
    for (const String& path : {folder / "missing", file + "/below", String()})
    {
        EXPECT_THAT(open(path), Refuses(ExitCode::NotFound, path));
    }
    for (const String& path : {folder.GetPath(), folder / "link", folder / "fifo", String("/dev/zero")})
    {
        EXPECT_THAT(open(path), Refuses(ExitCode::BundleRejected, path));
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
        EXPECT_THAT([text] { return ParseSpan(text, "delay"); }, Refuses(ExitCode::Usage, text));
    }
}

TEST(TimeArgumentsTest, AStartIsLocalUnlessItSaysOtherwiseAndAheadWithinTheLimit)
{
    // Two hours ahead: it is 09:00, 07:00:00Z.
    setenv("TZ", "UTC-2", 1); // NOLINT(concurrency-mt-unsafe)
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
         {"2026-11-21T06:59:59Z", "2027-01-10T00:02:48Z", "2611-06-13T17:05:30Z", "9999-12-31T23:59:59Z",
          "0001-01-01T00:00:00Z", "24:00", "9:01", "09:60", "soon", ""})
    {
        EXPECT_THAT([&] { return ParseStart(text, now); }, Refuses(ExitCode::Usage, text));
    }
    // It is 03:05, 01:05:00Z; the clock went from 02:00 to 03:00.
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1); // NOLINT(concurrency-mt-unsafe)
    const auto spring = std::chrono::system_clock::from_time_t(1'774'746'300);
    EXPECT_EQ(ParseStart("02:30", spring) - spring, std::chrono::minutes(23 * 60 + 25));
    const char* const skipped = "2026-03-29T02:30:00";
    EXPECT_THAT([&] { return ParseStart(skipped, spring); }, Refuses(ExitCode::Usage, skipped));
    // It is 02:45 for the first time, 00:45:00Z; the clock shows 02:30 once more.
    const auto autumn = std::chrono::system_clock::from_time_t(1'792'888'200 + 900);
    EXPECT_EQ(ParseStart("02:30", autumn) - autumn, std::chrono::minutes(45));
}

} // namespace Zel::Host::Cli

#include "Cli/TimeArguments.h"

#include "Cli/CommandError.h"
#include "Cli/TimeText.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Zel::Host::Cli
{

/// Returns the milliseconds of a span, or those from 2026-11-21T07:00:00Z to a time; -1 for a wrong call.
std::int64_t Parse(const String& text, bool span)
{
    const auto now = std::chrono::system_clock::from_time_t(1'795'244'400);
    try
    {
        return span ? ParseSpan(text, "delay").count()
                    : std::chrono::duration_cast<std::chrono::milliseconds>(ParseStart(text, now) - now)
                          .count();
    }
    catch (const CommandError& error)
    {
        EXPECT_EQ(error.GetExitCode(), ExitCode::Usage);
        EXPECT_NE(error.GetMessage().find("'" + text + "'"), String::npos);
        return -1;
    }
}

TEST(TimeArgumentsTest, ASpanIsAWholeNumberAndAUnitUpToTheLimit)
{
    EXPECT_EQ(Parse("0", true), 0);
    EXPECT_EQ(Parse("090", true), 90'000);
    EXPECT_EQ(Parse("90s", true), 90'000);
    EXPECT_EQ(Parse("5min", true), 300'000);
    EXPECT_EQ(Parse("1193h", true), 4'294'800'000);
    EXPECT_EQ(Parse("4294967", true), 4'294'967'000);
    for (const char* const text : {"", "s", "-5", " 5", "5 s", "1.5h", "5m", "5S", "0x10", "4294968", "1194h",
                                   "18446744073709551615h", "99999999999999999999"})
    {
        EXPECT_EQ(Parse(text, true), -1) << text;
    }
}

TEST(TimeArgumentsTest, AStartIsLocalUnlessItSaysOtherwiseAndAheadWithinTheLimit)
{
    setenv("TZ", "UTC-2", 1); // two hours ahead: it is 09:00
    EXPECT_EQ(Parse("09:01", false), 60'000);
    EXPECT_EQ(Parse("09:00", false), 86'400'000);
    EXPECT_EQ(Parse("2026-11-21T09:00:05", false), 5'000);
    EXPECT_EQ(Parse("2026-11-21T07:00:05Z", false), 5'000);
    EXPECT_EQ(Parse("2026-11-21T08:00:05+01:00", false), 5'000);
    EXPECT_EQ(Parse("2027-01-10T00:02:47Z", false), 4'294'967'000);
    for (const char* const text :
         {"2026-11-21T06:59:59Z", "2027-01-10T00:02:48Z", "24:00", "9:01", "09:60", "soon", ""})
    {
        EXPECT_EQ(Parse(text, false), -1) << text;
    }
}

TEST(TimeTextTest, TimesOutsideOfTheCalendarAreNoneAndSpansHaveHoursWhereNeeded)
{
    EXPECT_EQ(ToTimeText(0), "");
    EXPECT_EQ(ToTimeText(253'402'300'799'999'999), "9999-12-31T23:59:59Z");
    EXPECT_EQ(ToTimeText(253'402'300'800'000'000), "");
    EXPECT_EQ(ToSpanText(std::chrono::seconds(3599)), "59:59");
    EXPECT_EQ(ToSpanText(std::chrono::seconds(3605)), "1:00:05");
}

} // namespace Zel::Host::Cli

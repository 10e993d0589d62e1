#include "Cli/Delay.h"

#include "Cli/CommandError.h"

#include <gtest/gtest.h>

namespace Zel::Host::Cli
{

namespace
{

TEST(DelayTest, ReadsSecondsMinutesAndHoursUpToTheLimit)
{
    const std::vector<std::pair<String, std::int64_t>> delays = {
        {"0", 0},          {"90", 90'000},  {"90s", 90'000},          {"5min", 300'000},
        {"2h", 7'200'000}, {"007s", 7'000}, {"1193h", 4'294'800'000}, {"4294967", 4'294'967'000},
    };
    for (const auto& [text, expected] : delays)
    {
        EXPECT_EQ(ParseDelay(text).count(), expected) << text;
    }
}

TEST(DelayTest, RefusesEverythingElseAsAWrongCallThatNamesTheText)
{
    const String noDelay = " is no delay: write a whole number and s, min or h, for example 90s";
    const String tooLong = " is too long: it must stay below 2^32 ms (49 days 17 hours)";
    const std::vector<std::pair<String, String>> texts = {
        {"", "''" + noDelay},
        {"s", "'s'" + noDelay},
        {"-5", "'-5'" + noDelay},
        {"+5", "'+5'" + noDelay},
        {" 5", "' 5'" + noDelay},
        {"5 s", "'5 s'" + noDelay},
        {"1.5h", "'1.5h'" + noDelay},
        {"5m", "'5m'" + noDelay},
        {"5S", "'5S'" + noDelay},
        {"0x10", "'0x10'" + noDelay},
        {"99999999999999999999d", "'99999999999999999999d'" + noDelay},
        {"4294968", "the delay '4294968'" + tooLong},
        {"71583min", "the delay '71583min'" + tooLong},
        {"1194h", "the delay '1194h'" + tooLong},
        {"18446744073709551615h", "the delay '18446744073709551615h'" + tooLong},
        {"99999999999999999999", "the delay '99999999999999999999'" + tooLong},
    };
    for (const auto& [text, message] : texts)
    {
        try
        {
            ADD_FAILURE() << text << " became " << ParseDelay(text).count();
        }
        catch (const CommandError& error)
        {
            EXPECT_EQ(error.GetExitCode(), ExitCode::Usage);
            EXPECT_EQ(error.GetMessage(), message);
        }
    }
}

} // namespace

} // namespace Zel::Host::Cli

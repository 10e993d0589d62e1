#include "Zel/DateTime.h"

#include "Support/Thrown.h"

#include <gtest/gtest.h>
#include <limits>

namespace Zel
{

TEST(DateTimeTest, FromIso8601StringReadsEveryPermittedShape)
{
    constexpr std::int64_t Epoch = DateTime::UnixEpochTicks;
    constexpr std::int64_t Second = DateTime::TicksPerSecond;
    // With the ticks, and what `ToIso8601String` makes of it: with "Z" exactly where the kind is UTC.
    const std::tuple<const char*, std::int64_t, String> cases[] = {
        {"1970-01-01T00:00:00", Epoch, "1970-01-01T00:00:00"},
        {"2000-02-29T00:00:00Z", Epoch + 11'016 * 86'400 * Second, "2000-02-29T00:00:00Z"},
        {"2024-02-29T23:59:59Z", Epoch + (19'783 * 86'400 - 1) * Second, "2024-02-29T23:59:59Z"},
        {"1970-01-01T00:00:00.5Z", Epoch + 5'000'000, "1970-01-01T00:00:00.5000000Z"},
        {"1970-01-01T00:00:00.000000199", Epoch + 1, "1970-01-01T00:00:00.0000001"},
        {"1969-12-31T18:15:00.25-05:45", Epoch + 2'500'000, "1970-01-01T00:00:00.2500000Z"},
        {"0001-01-01T14:00:00+14:00", 0, "0001-01-01T00:00:00Z"},
        {"9999-12-31T23:59:59.999999999Z", 3'155'378'975'999'999'999, "9999-12-31T23:59:59.9999999Z"},
    };

    for (const auto& [text, ticks, written] : cases)
    {
        const DateTime moment = DateTime::FromIso8601String(text);
        EXPECT_EQ(moment.GetTicks(), ticks) << text;
        EXPECT_EQ(moment.ToIso8601String(), written);
        EXPECT_EQ(moment.GetKind() == DateTimeKind::Utc, written.back() == 'Z') << text;
    }
}

TEST(DateTimeTest, FromIso8601StringRefusesEverythingElse)
{
    std::vector<String> texts = {"", "0001-01-01T00:00:00+00:01", "9999-12-31T23:59:59-00:01"};
    for (const String date :
         {"2024-00-06", "2024-13-06", "2024-05-00", "2024-04-31", "2023-02-29", "1900-02-29", "0000-12-31",
          "10000-01-01", "-024-05-06", " 2024-05-06", "2024-5-6", "20240506"})
    {
        texts.push_back(date + "T07:08:09Z");
    }
    for (const String time : {"", "T07:08", " 07:08:09", "t07:08:09Z", "T070809Z", "T7:8:9Z", "T07:08:+9Z",
                              "T24:00:00Z", "T07:60:09Z", "T07:08:60Z", "T07:08:09Z ", "T07:08:09.Z",
                              "T07:08:09.1234567890Z", "T07:08:09Z+01:00", "T07:08:09+01", "T07:08:09+0100",
                              "T07:08:09+01:60", "T07:08:09+14:01", "T07:08:09-15:00"})
    {
        texts.push_back("2024-05-06" + time);
    }
    for (const String& text : texts)
    {
        EXPECT_EQ(Tests::Support::GetThrown([&] { static_cast<void>(DateTime::FromIso8601String(text)); }),
                  "Zel::Exception: '" + text + "' is not a date and time in ISO 8601 form");
    }
}

TEST(DateTimeTest, FromUnixTimeCutsToTicksAndStaysInRange)
{
    using Limits = std::numeric_limits<std::int64_t>;
    EXPECT_EQ(DateTime::FromUnixTime(1, 199).ToIso8601String(), "1970-01-01T00:00:01.0000001Z");
    EXPECT_EQ(DateTime::FromUnixTime(Limits::max(), 999'999'999).ToIso8601String(),
              "9999-12-31T23:59:59.9999999Z");
    EXPECT_EQ(DateTime::FromUnixTime(Limits::min(), 0).ToIso8601String(), "0001-01-01T00:00:00Z");
}

} // namespace Zel

#include "Zel/DateTime.h"

#include "Zel/Exception.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace Zel
{

namespace
{

struct ValidText
{
    const char* text;
    std::int64_t ticks;
    DateTimeKind kind;
    /// What `ToIso8601String` makes of it.
    const char* written;
};

constexpr std::int64_t Epoch = DateTime::UnixEpochTicks;
constexpr std::int64_t Second = DateTime::TicksPerSecond;
constexpr std::int64_t Day = 86'400 * Second;
constexpr std::int64_t LastTick = 3'155'378'975'999'999'999;

TEST(DateTimeTest, FromIso8601StringReadsEveryPermittedShape)
{
    const ValidText cases[] = {
        {"1970-01-01T00:00:00Z", Epoch, DateTimeKind::Utc, "1970-01-01T00:00:00Z"},
        {"1970-01-01T00:00:00", Epoch, DateTimeKind::Unspecified, "1970-01-01T00:00:00"},
        {"2000-02-29T23:59:59Z", Epoch + 11'016 * Day + 86'399 * Second, DateTimeKind::Utc,
         "2000-02-29T23:59:59Z"},
        {"2024-02-29T00:00:00Z", Epoch + 19'782 * Day, DateTimeKind::Utc, "2024-02-29T00:00:00Z"},
        {"1970-01-01T00:00:00.5Z", Epoch + 5'000'000, DateTimeKind::Utc, "1970-01-01T00:00:00.5000000Z"},
        {"1970-01-01T00:00:00.0000001", Epoch + 1, DateTimeKind::Unspecified, "1970-01-01T00:00:00.0000001"},
        {"1970-01-01T00:00:00.123456789Z", Epoch + 1'234'567, DateTimeKind::Utc,
         "1970-01-01T00:00:00.1234567Z"},
        {"1970-01-01T02:00:00+02:00", Epoch, DateTimeKind::Utc, "1970-01-01T00:00:00Z"},
        {"1969-12-31T18:15:00.25-05:45", Epoch + 2'500'000, DateTimeKind::Utc,
         "1970-01-01T00:00:00.2500000Z"},
        {"1970-01-01T14:00:00+14:00", Epoch, DateTimeKind::Utc, "1970-01-01T00:00:00Z"},
        {"1970-01-01T00:00:00-00:00", Epoch, DateTimeKind::Utc, "1970-01-01T00:00:00Z"},
        {"0001-01-01T00:00:00", 0, DateTimeKind::Unspecified, "0001-01-01T00:00:00"},
        {"0001-01-01T14:00:00+14:00", 0, DateTimeKind::Utc, "0001-01-01T00:00:00Z"},
        {"9999-12-31T23:59:59.999999999Z", LastTick, DateTimeKind::Utc, "9999-12-31T23:59:59.9999999Z"},
    };
    for (const auto& valid : cases)
    {
        SCOPED_TRACE(valid.text);
        const DateTime moment = DateTime::FromIso8601String(valid.text);
        EXPECT_EQ(moment.GetTicks(), valid.ticks);
        EXPECT_EQ(moment.GetKind(), valid.kind);
        EXPECT_EQ(moment.ToIso8601String(), valid.written);
    }
}

TEST(DateTimeTest, FromIso8601StringRefusesEverythingElse)
{
    const String cases[] = {
        "",
        "2024-05-06",
        "2024-05-06T07:08",
        "2024-05-06 07:08:09",
        "2024-05-06t07:08:09Z",
        "2024-05-06T07:08:09z",
        "20240506T070809Z",
        "24-05-06T07:08:09Z",
        " 2024-05-06T07:08:09Z",
        "2024-05-06T07:08:09Z ",
        "2024-05-06T07:08:09ZZ",
        "2024-05-06T07:08:09Z+01:00",
        "2024-5-6T7:8:9Z",
        "2024-05-06T 7:08:09Z",
        "2024-05-06T07:08:+9Z",
        "-024-05-06T07:08:09Z",
        "+2024-05-06T07:08:09Z",
        "2024-00-06T07:08:09Z",
        "2024-13-06T07:08:09Z",
        "2024-05-00T07:08:09Z",
        "2024-04-31T07:08:09Z",
        "2023-02-29T07:08:09Z",
        "1900-02-29T07:08:09Z",
        "0000-12-31T07:08:09Z",
        "10000-01-01T00:00:00Z",
        "2024-05-06T24:00:00Z",
        "2024-05-06T07:60:09Z",
        "2024-05-06T07:08:60Z",
        "2024-05-06T07:08:09.Z",
        "2024-05-06T07:08:09,5Z",
        "2024-05-06T07:08:09.1234567890Z",
        "2024-05-06T07:08:09+1:00",
        "2024-05-06T07:08:09+0100",
        "2024-05-06T07:08:09+01",
        "2024-05-06T07:08:09+01:60",
        "2024-05-06T07:08:09+14:01",
        "2024-05-06T07:08:09-15:00",
        "2024-05-06T07:08:09 +01:00",
        "0001-01-01T00:00:00+00:01",
        "9999-12-31T23:59:59-00:01",
        String("2024-05-06T07:08:09Z\0", 21),
    };
    for (const auto& text : cases)
    {
        SCOPED_TRACE(text);
        try
        {
            const DateTime moment = DateTime::FromIso8601String(text);
            ADD_FAILURE() << "read as " << moment.ToIso8601String();
        }
        catch (const Exception& exception)
        {
            EXPECT_EQ(exception.GetMessage(), "'" + text + "' is not a date and time in ISO 8601 form");
        }
    }
}

TEST(DateTimeTest, FromUnixTimeCutsToTicksAndStaysInRange)
{
    EXPECT_EQ(DateTime::FromUnixTime(1, 199), DateTime(Epoch + Second + 1, DateTimeKind::Utc));
    EXPECT_EQ(DateTime::FromUnixTime(-1, 0), DateTime(Epoch - Second, DateTimeKind::Utc));
    EXPECT_EQ(DateTime::FromUnixTime(std::numeric_limits<std::int64_t>::max(), 999'999'999).ToIso8601String(),
              "9999-12-31T23:59:59.9999999Z");
    EXPECT_EQ(DateTime::FromUnixTime(std::numeric_limits<std::int64_t>::min(), 0).ToIso8601String(),
              "0001-01-01T00:00:00Z");
}

TEST(DateTimeTest, GetUtcNowIsOfThisTime)
{
    const DateTime now = DateTime::GetUtcNow();
    EXPECT_EQ(now.GetKind(), DateTimeKind::Utc);
    EXPECT_EQ(DateTime::FromIso8601String(now.ToIso8601String()), now);
    EXPECT_GT(now.GetTicks(), DateTime::FromIso8601String("2024-01-01T00:00:00Z").GetTicks());
}

} // namespace

} // namespace Zel

#include "Zel/String.h"

#include <gtest/gtest.h>

namespace Zel
{

namespace
{

struct CutText
{
    const char* text;
    std::size_t maximumBytes;
    const char* expected;
};

TEST(StringTest, TruncateNeverSplitsACharacter)
{
    const CutText cases[] = {
        {"", 0, ""},
        {"abc", 3, "abc"},
        {"abc", 2, "ab"},
        {"abc", 0, ""},
        {"a\u00E4", 3, "a\u00E4"},
        {"a\u00E4", 2, "a"},
        {"\u00E4\u00E4", 2, "\u00E4"},
        {"\u20AC\u20AC", 5, "\u20AC"},
        {"\u20AC\u20AC", 4, "\u20AC"},
        {"\u20AC\u20AC", 3, "\u20AC"},
        {"\u20AC", 2, ""},
        {"a\U0001F600", 4, "a"},
        {"a\U0001F600", 2, "a"},
        {"a\U0001F600b", 5, "a\U0001F600"},
    };
    for (const auto& cut : cases)
    {
        EXPECT_EQ(Truncate(cut.text, cut.maximumBytes), cut.expected) << cut.text << " " << cut.maximumBytes;
    }
}

TEST(StringTest, TruncateDropsNoMoreThanOneSequenceOfMalformedText)
{
    EXPECT_EQ(Truncate(String(600, '\x80'), 511), String(511, '\x80'));
    EXPECT_EQ(Truncate("\xE2\x82z", 2), "\xE2\x82");
    EXPECT_EQ(Truncate("a\xC3\x28", 2), "a\xC3");
}

TEST(StringTest, ToLowerLeavesOtherBytesAlone)
{
    EXPECT_EQ(ToLower("AbZ-09_\u00C4\xFF"), "abz-09_\u00C4\xFF");
}

TEST(StringTest, JoinPutsTheSeparatorBetweenOnly)
{
    EXPECT_EQ(Join({}, ", "), "");
    EXPECT_EQ(Join({"a"}, ", "), "a");
    EXPECT_EQ(Join({"", "b", ""}, ", "), ", b, ");
}

} // namespace

} // namespace Zel

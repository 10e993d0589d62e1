#include "Zel/String.h"

#include <gtest/gtest.h>

namespace Zel
{

TEST(StringTest, TruncateNeverSplitsACharacterAndCutsMalformedTextAnywhere)
{
    // Characters of one to four bytes, and where each size cuts them.
    const String text = "a\u00E4\u20AC\U0001F600";
    const std::size_t cuts[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (std::size_t size = 0; size < std::size(cuts); ++size)
    {
        EXPECT_EQ(Truncate(text, size), text.substr(0, cuts[size])) << size;
    }
    EXPECT_EQ(Truncate(String(600, '\x80'), 511), String(511, '\x80'));
    EXPECT_EQ(Truncate("\xE2\x82z", 2), "\xE2\x82");
}

} // namespace Zel

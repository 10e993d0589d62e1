#include "Zel/String.h"

#include "Zel/System/Commons/FixedString.h"
#include "Zel/System/Commons/FixedText.h"

#include "Support/Thrown.h"

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

TEST(FixedTextTest, TakesOneCharacterLessThanItsSizeAndKeepsItsTextOtherwise)
{
    using System::Commons::FixedString;
    using System::Commons::FixedText;
    FixedText<512> text = String(511, 'x');
    EXPECT_EQ(Tests::Support::GetThrown([&] { text = String(512, 'y'); }),
              "Zel::System::Commons::ArgumentException: Input string is too long (argument 'arg')");
    EXPECT_EQ(text.ToString(), String(511, 'x'));
    text = "shorter";
    text = text.GetView().substr(2);
    EXPECT_EQ(text, "orter");
    EXPECT_EQ(FixedString<512>(String(512, 'x')).ToString(), String(512, 'x'));
    EXPECT_EQ(Tests::Support::GetThrown([] { FixedString<512>(String(513, 'x')); }),
              "Zel::System::Commons::ArgumentException: Cannot copy string: argument string length 513 "
              "exceeds MaxStringSize 512 (argument 'arg')");
}

} // namespace Zel

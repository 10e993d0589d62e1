#include "Zel/System/Commons/FixedText.h"

#include "Zel/System/Commons/FixedString.h"

#include "Unit/Platform/Thrown.h"

#include <gtest/gtest.h>

namespace Zel::System::Commons
{

using Tests::GetThrown;

TEST(FixedTextTest, TakesOneCharacterLessThanItsSizeAndKeepsItsTextOtherwise)
{
    const String longest(511, 'x');
    const String refusal =
        "Zel::System::Commons::ArgumentException: Input string is too long (argument 'arg')";
    FixedText<512> text = longest;
    EXPECT_EQ(GetThrown([&] { text = String(512, 'y'); }), refusal);
    EXPECT_EQ(GetThrown([] { FixedText<512>(String(512, 'y')); }), refusal);
    EXPECT_EQ(text.ToString(), longest);
    text = "shorter";
    text = text.GetView().substr(2);
    EXPECT_EQ(text, "orter");
}

TEST(FixedStringTest, TakesAsManyCharactersAsItsSize)
{
    const String longest(512, 'x');
    EXPECT_EQ(FixedString<512>(longest).ToString(), longest);
    EXPECT_EQ(GetThrown([] { FixedString<512>(String(513, 'x')); }),
              "Zel::System::Commons::ArgumentException: Cannot copy string: argument string length 513 "
              "exceeds MaxStringSize 512 (argument 'arg')");
}

} // namespace Zel::System::Commons

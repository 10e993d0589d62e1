#include "Zel/System/Commons/FixedText.h"

#include "Zel/System/Commons/FixedString.h"

#include <gtest/gtest.h>

namespace Zel::System::Commons
{

namespace
{

template <typename Call>
void ExpectArgumentException(Call&& call, const String& message)
{
    try
    {
        call();
        ADD_FAILURE() << "no exception";
    }
    catch (const ArgumentException& exception)
    {
        EXPECT_EQ(exception.GetArgumentName(), "arg");
        EXPECT_EQ(exception.GetMessage(), message);
    }
}

TEST(FixedTextTest, TakesOneCharacterLessThanItsSize)
{
    const String longest(511, 'x');
    FixedText<512> text = longest;
    EXPECT_EQ(text.ToString(), longest);
    ExpectArgumentException([&] { text = String(512, 'y'); }, "Input string is too long");
    EXPECT_EQ(text.ToString(), longest);
    ExpectArgumentException([] { FixedText<512>(String(512, 'y')); }, "Input string is too long");
    text = "short";
    EXPECT_EQ(text, "short");
    EXPECT_FALSE(text == FixedText<512>("short "));
    EXPECT_FALSE(text == String(600, 'x'));
    text = "";
    EXPECT_TRUE(text.IsEmpty());
}

TEST(FixedTextTest, AssigningItsOwnViewKeepsTheText)
{
    FixedText<8> text = "abcdef";
    text = text.GetView().substr(2);
    EXPECT_EQ(text, "cdef");
}

TEST(FixedStringTest, TakesAsManyCharactersAsItsSize)
{
    const String longest(512, 'x');
    EXPECT_EQ(FixedString<512>(longest).ToString(), longest);
    ExpectArgumentException([] { FixedString<512>(String(513, 'x')); },
                            "Cannot copy string: argument string length 513 exceeds MaxStringSize 512");
    EXPECT_EQ(FixedString<512>("General.ArticleName"), FixedString<512>(String("General.ArticleName")));
}

} // namespace

} // namespace Zel::System::Commons

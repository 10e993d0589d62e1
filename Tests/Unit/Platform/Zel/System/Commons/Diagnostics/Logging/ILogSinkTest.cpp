#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"

#include <gtest/gtest.h>
#include <utility>

namespace Zel::System::Commons::Diagnostics::Logging
{

TEST(EscapeControlCharactersTest, OnlyPrintableTextPasses)
{
    const std::pair<String, const char*> cases[] = {
        {"plain ~ {0} \\x41", "plain ~ {0} \\x41"},
        {"one\ntwo\r\tthree\x7F", "one\\x0Atwo\\x0D\\x09three\\x7F"},
        {String("a\0b\x1B]0;", 7), "a\\x00b\\x1B]0;"},
        // Characters of two, three and four bytes.
        {"\u00A0\u00E4\u20AC\uD7FF\uE000\U0001F600\U0010FFFF",
         "\u00A0\u00E4\u20AC\uD7FF\uE000\U0001F600\U0010FFFF"},
        // U+0080 to U+009F, among them the one-character form of ESC [.
        {"\xC2\x80\xC2\x9B\x31m\xC2\x9F", "\\xC2\\x80\\xC2\\x9B1m\\xC2\\x9F"},
        // No UTF-8: lone bytes, cut sequences, longer forms than needed, surrogates, beyond U+10FFFF.
        {"\x9B\xFF\xBF", "\\x9B\\xFF\\xBF"},
        {"\xE2\x82\x41\xC3\xC3\xA4\xC3", "\\xE2\\x82\x41\\xC3\u00E4\\xC3"},
        {"\xC0\x9B\xE0\x82\x9B\xF0\x80\x82\x9B", "\\xC0\\x9B\\xE0\\x82\\x9B\\xF0\\x80\\x82\\x9B"},
        {"\xED\xA0\x80\xF4\x90\x80\x80", "\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80"},
    };
    for (const auto& [text, escaped] : cases)
    {
        EXPECT_EQ(EscapeControlCharacters(text), escaped);
    }
}

} // namespace Zel::System::Commons::Diagnostics::Logging

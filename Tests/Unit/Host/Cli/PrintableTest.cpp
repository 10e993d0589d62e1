#include "Cli/Printable.h"

#include <gtest/gtest.h>

#include <vector>

namespace Zel::Host::Cli
{

namespace
{

TEST(PrintableTest, EscapesWhatSteersATerminalAndKeepsTheRest)
{
    const std::vector<std::pair<String, String>> texts = {
        {"", ""},
        {" \r\n", ""},
        {"Gr\xC3\xB6\xC3\x9F"
         "e 5 %",
         "Gr\xC3\xB6\xC3\x9F"
         "e 5 %"},
        {"one\ntwo \n", "one\\x0Atwo"},
        {"\x1B]0;owned\x07", "\\x1B]0;owned\\x07"},
        {"a\x7F", "a\\x7F"},
        {"C1 \xC2\x9B"
         "2J, \xC2\xA0 stays",
         "C1 \\xC2\\x9B2J, \xC2\xA0 stays"},
        {"cut \xE2\x80", "cut \\xE2\\x80"},
    };
    for (const auto& [text, expected] : texts)
    {
        EXPECT_EQ(Printable(text), expected);
    }
}

TEST(PrintableTest, FitColumnsCutsBetweenCharactersOnly)
{
    const String text = "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F!"; // five characters
    const std::vector<std::pair<std::size_t, String>> cuts = {
        {5, text}, {4, "\xC3\xA4\xC3\xB6.."}, {3, "\xC3\xA4.."}, {2, "\xC3\xA4\xC3\xB6"}, {1, "\xC3\xA4"},
        {0, ""},
    };
    for (const auto& [columns, expected] : cuts)
    {
        EXPECT_EQ(FitColumns(text, columns), expected) << columns;
        EXPECT_LE(CountColumns(FitColumns(text, columns)), columns);
    }
}

} // namespace

} // namespace Zel::Host::Cli

#include "Cli/Output.h"

#include "Cli/Printable.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Zel::Host::Cli
{

TEST(PrintableTest, EscapesWhatSteersATerminalAndKeepsTheRest)
{
    for (const auto& [text, expected] : {std::pair{" \r\n", ""},
                                         {"Gr\xC3\xB6\xC3\x9F 5 %", "Gr\xC3\xB6\xC3\x9F 5 %"},
                                         {"one\ntwo \n", "one\\x0Atwo"},
                                         {"\x1B]0;owned\x07\x7F", "\\x1B]0;owned\\x07\\x7F"},
                                         {"\xC2\x9B 2J, \xC2\xA0 stays", "\\xC2\\x9B 2J, \xC2\xA0 stays"},
                                         {"cut \xE2\x80", "cut \\xE2\\x80"}})
    {
        EXPECT_EQ(Printable(text), expected);
    }
}

TEST(OutputTest, NoTextFromOutsideReachesTheTerminalAsItIs)
{
    const String hostile = "\x1B[31m\xC2\x9B 2J\r\n\xFF\xFE";
    const Report report = {ExitCode::Done,
                           "shown",
                           hostile,
                           hostile,
                           hostile,
                           hostile,
                           {{"Fact", hostile, {{"/fact", hostile}}}},
                           {{"rows", {{"Cell", "cell"}}, {{{hostile}, {}}}}}};
    for (const bool json : {false, true})
    {
        std::ostringstream out;
        Output output(out, out, {json, false}, "status");
        output.Write(report);
        output.WriteEvent(report);
        output.WriteLine(hostile);
        output.WriteQuestion(hostile);
        EXPECT_EQ(out.str().find_first_of("\x1B\r\x07"), String::npos);
        EXPECT_EQ(out.str().find("\xC2\x9B"), String::npos);
    }
}

} // namespace Zel::Host::Cli

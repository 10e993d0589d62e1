#include "Cli/Output.h"

#include "Cli/Printable.h"
#include "Cli/ProgressView.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Zel::Host::Cli
{

TEST(PrintableTest, EscapesWhatSteersATerminalAndTakesNoBlanksFromTheEnd)
{
    EXPECT_EQ(Printable("one\n\x1B]0;owned\x07 \r\n"), "one\\x0A\\x1B]0;owned\\x07");
    EXPECT_EQ(Printable(" \r\n"), "");
}

TEST(OutputTest, NoTextFromOutsideReachesTheTerminalAsItIs)
{
    const String hostile = "\x1B[31m\xC2\x9B 2J\r\n\xFF\xFE";
    Report report = {ExitCode::Done, "shown", hostile, hostile, hostile, hostile, {}, {}};
    report.facts = {{"Fact", hostile, {{"/fact", hostile}}}};
    report.tables = {{"rows", {{"Cell", "cell"}}, {{{hostile}, {}}}}};
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

TEST(ProgressViewTest, ThePercentageNeverFallsNorCountsTheLookAtTheBundle)
{
    std::ostringstream out;
    ProgressView view(out, Terminal(), false);
    ComponentState state;
    state.state = Api::State::Installing;
    for (const auto& [percent, message] : {std::pair{0, ""},
                                           {100, "Checking bundle done."},
                                           {0, "Installing"},
                                           {46, "Copying"},
                                           {20, "Copying more"},
                                           {100, "Installing done."}})
    {
        state.progressPercent = percent;
        state.message = state.progressText = message;
        view.Show(state);
    }
    // Nothing but the end of a quick installation was announced.
    ProgressView(out, Terminal(), false).Show(state);
    state.message = "The device is going to reboot.";
    ProgressView(out, Terminal(), false).Show(state);
    EXPECT_EQ(out.str(), "  0 % Checking bundle done. (0:00)\n  0 % Installing (0:00)\n 46 % Copying (0:00)\n"
                         " 46 % Copying more (0:00)\n 99 % Installing done. (0:00)\n"
                         " 99 % Installing done. (0:00)\n"
                         " 99 % The device is going to reboot. (0:00)\n");
}

} // namespace Zel::Host::Cli

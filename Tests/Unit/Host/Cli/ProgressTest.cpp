#include "Cli/ProgressBar.h"
#include "Cli/ProgressView.h"

#include "Cli/Printable.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace Zel::Host::Cli
{

namespace
{

ComponentState Installing(int percent, const String& message)
{
    ComponentState state;
    state.state = ComponentState::Installing;
    state.progressPercent = percent;
    state.message = message;
    return state;
}

TEST(ProgressBarTest, FillsInProportionAndHoldsThePercentage)
{
    const String text = "Copying image to rootfs.1";
    EXPECT_EQ(ProgressBar::Render(-3, text, 79, false), "[--------------------------]   0 % " + text);
    EXPECT_EQ(ProgressBar::Render(50, text, 79, false), "[#############-------------]  50 % " + text);
    EXPECT_EQ(ProgressBar::Render(99, text, 79, false), "[#########################-]  99 % " + text);
    EXPECT_EQ(ProgressBar::Render(250, text, 79, false), "[##########################] 100 % " + text);
    EXPECT_EQ(ProgressBar::Render(50, "x", 40, true), "[\x1B[32m######\x1B[0m-------]  50 % x");
}

TEST(ProgressBarTest, NeverExceedsTheWidth)
{
    for (std::size_t width = 0; width <= 130; ++width)
    {
        for (const int percent : {0, 9, 99, 100})
        {
            const String line =
                ProgressBar::Render(percent, "\xC3\xA4 long text that does not fit", width, false);
            EXPECT_LE(CountColumns(line), width) << line;
        }
    }
    EXPECT_EQ(ProgressBar::Render(46, "Copying", 14, false), " 46 % Copying");
}

TEST(ProgressViewTest, DrawsOneLineAgainOnATerminalAndEndsIt)
{
    std::ostringstream out;
    {
        ProgressView view(out, Terminal{true, false, 40}, false);
        view.Show(Installing(100, "Installing failed.\x1B[2J"));
        view.Show(Installing(0, "The device is going to reboot."));
    }
    EXPECT_EQ(out.str(), "\r[############-]  99 % Installing fail..\x1B[K"
                         "\r[#############] 100 % The device is g..\x1B[K\n");
}

TEST(ProgressViewTest, WritesALineForEachMessageAndEachTenPercentElsewhere)
{
    std::ostringstream out;
    ProgressView view(out, Terminal(), false);
    view.Show(Installing(0, ""));
    view.Show(Installing(0, "Installing"));
    for (const int percent : {40, 41, 46, 49, 50, 59, 61})
    {
        view.Show(Installing(percent, "Copying image"));
    }
    view.Show(Installing(100, "Installing done."));
    view.Show(Installing(100, "The device is going to reboot."));
    ComponentState idle = Installing(100, "idle");
    idle.state = ComponentState::Idle;
    view.Show(idle);
    view.Finish();
    EXPECT_EQ(out.str(),
              "  0 %\n  0 % Installing\n 40 % Copying image\n 50 % Copying image\n 61 % Copying image\n"
              " 99 % Installing done.\n100 % The device is going to reboot.\n");
}

TEST(ProgressViewTest, ShowsACountdownOnceInLinesAndLiveOnATerminal)
{
    std::ostringstream lines;
    std::ostringstream drawn;
    ProgressView lineView(lines, Terminal(), false);
    ProgressView drawnView(drawn, Terminal{true, true, 80}, false);
    for (const char* const message : {"installed in 3 seconds.", "installed in 2 seconds."})
    {
        ComponentState state = Installing(0, message);
        state.nextStart = 1;
        lineView.Show(state);
        drawnView.Show(state);
    }
    EXPECT_EQ(lines.str(), "installed in 3 seconds.\n");
    EXPECT_EQ(drawn.str(), "\rinstalled in 3 seconds.\x1B[K\rinstalled in 2 seconds.\x1B[K");
}

} // namespace

} // namespace Zel::Host::Cli

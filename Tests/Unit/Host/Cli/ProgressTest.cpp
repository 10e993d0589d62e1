#include "Cli/ProgressBar.h"
#include "Cli/ProgressView.h"

#include "Cli/Printable.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Zel::Host::Cli
{

TEST(ProgressBarTest, FillsInProportionHoldsThePercentageAndNeverExceedsTheWidth)
{
    EXPECT_EQ(ProgressBar::Render(-3, "text", 79, false), "[--------------------------]   0 % text");
    EXPECT_EQ(ProgressBar::Render(250, "text", 79, false), "[##########################] 100 % text");
    EXPECT_EQ(ProgressBar::Render(50, "x", 40, true), "[\x1B[32m######\x1B[0m-------]  50 % x");
    EXPECT_EQ(ProgressBar::Render(46, "Copying", 14, false), " 46 % Copying");
    for (std::size_t width = 0; width <= 130; ++width)
    {
        const String line = ProgressBar::Render(99, "\xC3\xA4\xC3\xB6\xE2\x82\xAC and more", width, false);
        EXPECT_LE(CountColumns(line), width);
        EXPECT_EQ(Printable(line + "."), line + ".") << "cut within a character";
    }
}

TEST(ProgressViewTest, WritesALineForEachMessageAndEachTenPercentAndACountdownOnce)
{
    std::ostringstream out;
    ProgressView view(out, Terminal(), false);
    ComponentState state;
    state.nextStart = 1;
    const auto show = [&](int percent, const String& message)
    {
        state.progressPercent = percent;
        state.message = message;
        view.Show(state);
    };
    show(0, "idle");
    state.state = ComponentState::Installing;
    show(0, "installed in 3 seconds.");
    show(0, "installed in 2 seconds.");
    state.nextStart = 0;
    for (const int percent : {0, 40, 41, 49, 50, 59, 61, 100})
    {
        show(percent, "Copying");
    }
    EXPECT_EQ(out.str(),
              "installed in 3 seconds.\n  0 % Copying (0:00)\n 40 % Copying (0:00)\n 50 % Copying (0:00)\n"
              " 61 % Copying (0:00)\n 99 % Copying (0:00)\n");
}

TEST(InstallationClockTest, TellsWhatIsLeftByTheMedianOfTheSameKind)
{
    const auto make = [](const char* kind, const char* result, std::uint64_t seconds)
    {
        const std::uint64_t end = 1'000'000 * (1 + seconds);
        return PastInstallation{
            kind,   "",
            "",     "",
            "",     0,
            0,      {{1'000'000, "Installing"}, {end, HistoryStep::RestartOrdered}, {2 * end, "Verdict"}},
            result, ""};
    };
    std::vector<PastInstallation> history = {make("fallback", "succeeded", 5), make("install", "failed", 7)};
    EXPECT_FALSE(InstallationClock(history, "install").GetTypical());
    for (const std::uint64_t seconds : {100U, 90U, 300U, 80U, 120U, 1U, 1U, 1U})
    {
        history.push_back(make("install", "succeeded", seconds));
    }
    EXPECT_EQ(InstallationClock(history, "install").GetTypical(), std::chrono::seconds(100));
}

} // namespace Zel::Host::Cli

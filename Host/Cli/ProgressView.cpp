#include "Cli/ProgressView.h"

#include "Cli/Printable.h"
#include "Cli/ProgressBar.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <utility>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

const String ToLineStart = "\r";
const String ClearToLineEnd = "\x1B[K";
/// What RAUC says at the end of an installation, all that is announced of a quick one.
const String InstallationDone = "Installing done.";

} // namespace

ProgressView::ProgressView(std::ostream& out, const Terminal& terminal, bool quiet, InstallationClock clock)
    : out(out), terminal(terminal), quiet(quiet), clock(clock)
{
}

ProgressView::~ProgressView()
{
    Finish();
}

void ProgressView::Show(const ComponentState& state)
{
    if (quiet || state.state != Api::State::Installing)
    {
        return;
    }
    if (!state.IsWaiting())
    {
        clock.Start();
        Advance(state);
    }
    if (terminal.interactive)
    {
        Draw(state);
    }
    else
    {
        WriteLine(state);
    }
}

void ProgressView::Finish()
{
    if (lineOpen)
    {
        out << '\n' << std::flush;
        lineOpen = false;
    }
}

void ProgressView::Advance(const ComponentState& state)
{
    // RAUC first looks at the bundle, which it says is done at 100 %, and then begins to install at 0 %. A
    // message without a percentage comes from the updater, when RAUC is done.
    const bool isLook = !state.IsThrough() && state.progressPercent >= 100 && percent == 0 &&
                        state.message == state.progressText && state.progressText != InstallationDone;
    percent = isLook ? 0 : std::max(percent, state.GetShownPercent());
}

void ProgressView::Draw(const ComponentState& state)
{
    terminal.RefreshWidth();
    // One column stays free: a character in the last one makes some terminals begin a new line.
    const std::size_t width = terminal.width > 1 ? terminal.width - 1 : 1;
    const String text = Printable(state.GetShownMessage());
    const String timed = Format("{0}  {1}", DescribeTime(), text);
    const String line = state.IsWaiting() ? FitColumns(text, width)
                                          : ProgressBar::Render(percent, timed, width, terminal.colour);
    out << ToLineStart << line << ClearToLineEnd << std::flush;
    lineOpen = true;
}

String ProgressView::DescribeTime() const
{
    // What is left then is the restart, of which the past tells nothing.
    return clock.Describe(percent < 100);
}

void ProgressView::WriteLine(const ComponentState& state)
{
    const String text = Printable(state.GetShownMessage());
    if (state.IsWaiting())
    {
        if (!waitShown && !text.empty())
        {
            out << text << std::endl;
            waitShown = true;
        }
        return;
    }
    const bool newText = !text.empty() && text != lastMessage;
    if (newText || percent / 10 > lastTens)
    {
        out << Format("{0:3d} %{1}{2} ({3})", percent, text.empty() ? "" : " ", text, DescribeTime())
            << std::endl;
        lastMessage = text;
        lastTens = percent / 10;
    }
}

} // namespace Zel::Host::Cli

#include "Cli/ProgressBar.h"

#include "Cli/Printable.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

constexpr std::size_t LongestBar = 30;
constexpr std::size_t ShortestBar = 5;
constexpr std::size_t Brackets = 2;

/// Returns the columns between the brackets; 0 for no bar. The text gets what the bar leaves.
std::size_t GetBarLength(std::size_t width)
{
    const std::size_t length = std::min(LongestBar, width / 3);
    return length >= ShortestBar ? length : 0;
}

String DrawBar(int percent, std::size_t length, bool colour)
{
    const std::size_t filled = length * static_cast<std::size_t>(percent) / 100;
    const String done = String(filled, '#');
    return Format("[{0}{1}{2}{3}] ", colour ? "\x1B[32m" : "", done, colour ? "\x1B[0m" : "",
                  String(length - filled, '-'));
}

} // namespace

String ProgressBar::Render(int percent, const String& text, std::size_t width, bool colour)
{
    const int held = std::clamp(percent, 0, 100);
    const std::size_t length = GetBarLength(width);
    const std::size_t taken = length == 0 ? 0 : length + Brackets + 1;
    const String rest = Format("{0:3d} % {1}", held, text);
    const String bar = length == 0 ? String() : DrawBar(held, length, colour);
    return bar + FitColumns(rest, width - taken);
}

} // namespace Zel::Host::Cli

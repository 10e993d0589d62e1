#include "Cli/InstallationClock.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/ComponentState.h"
#include "Cli/TimeText.h"

#include <algorithm>

namespace Zel::Host::Cli
{

namespace
{

constexpr std::size_t CountOfInterest = 5;

/// Returns from the first step to the order to restart: the entry itself ends after the restart, and begins
/// before a delay.
std::optional<std::chrono::seconds> GetDuration(const PastInstallation& entry)
{
    const bool complete = entry.result == Api::Result::Succeeded || entry.result == Api::Result::SwitchedBack;
    const auto end =
        std::find_if(entry.steps.begin(), entry.steps.end(),
                     [](const HistoryStep& step) { return step.what == Api::RestartOrderedStep; });
    if (!complete || end == entry.steps.end() || end->time <= entry.steps.front().time)
    {
        return std::nullopt;
    }
    const std::chrono::microseconds span(end->time - entry.steps.front().time);
    return std::chrono::duration_cast<std::chrono::seconds>(span);
}

} // namespace

InstallationClock::InstallationClock(const std::vector<PastInstallation>& history, const String& kind)
{
    std::vector<std::chrono::seconds> durations;
    for (const PastInstallation& entry : history)
    {
        const auto duration = entry.kind == kind ? GetDuration(entry) : std::nullopt;
        if (duration && durations.size() < CountOfInterest)
        {
            durations.push_back(*duration);
        }
    }
    if (!durations.empty())
    {
        std::sort(durations.begin(), durations.end());
        typical = durations[durations.size() / 2];
    }
}

void InstallationClock::Start(std::chrono::seconds before)
{
    if (!begin)
    {
        begin = Clock::now() - before;
    }
}

String InstallationClock::Describe(bool remaining) const
{
    if (!begin)
    {
        return {};
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - *begin);
    const String text = ToSpanText(elapsed);
    const bool told = remaining && typical && *typical > elapsed;
    return told ? text + ", ~" + ToSpanText(*typical - elapsed) + " left" : text;
}

} // namespace Zel::Host::Cli

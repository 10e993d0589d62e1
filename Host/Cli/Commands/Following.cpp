#include "Cli/Commands/Following.h"

#include "Cli/BusError.h"
#include "Cli/InstallationClock.h"
#include "Cli/TimeText.h"

#include <algorithm>

namespace Zel::Host::Cli
{

namespace
{

constexpr std::uint32_t EntriesOfInterest = 20;

InstallationClock ReadClock(BusClient& client, const String& kind)
{
    try
    {
        const std::vector<PastInstallation> history = client.ReadHistory(EntriesOfInterest);
        const bool underWay = kind.empty() && !history.empty() && history.front().result.empty();
        InstallationClock clock(history, underWay ? history.front().kind : kind);
        if (underWay && !history.front().steps.empty())
        {
            const std::uint64_t begin = history.front().steps.front().time;
            const std::uint64_t now = std::max(GetTimeNow(), begin);
            clock.Start(
                std::chrono::duration_cast<std::chrono::seconds>(std::chrono::microseconds(now - begin)));
        }
        return clock;
    }
    catch (const BusError& error)
    {
        if (error.GetExitCode() == ExitCode::ServiceUnreachable)
        {
            throw;
        }
        return {};
    }
}

} // namespace

ProgressView MakeView(Session& session, BusClient& client, const String& kind)
{
    const bool shows = session.GetOutput().ShowsProgress() && !session.GetArguments().noWait;
    return {session.GetOutput().GetStream(), session.GetTerminal(), !shows,
            shows ? ReadClock(client, kind) : InstallationClock()};
}

bool WaitAndShow(BusClient& client, ProgressView& view, BusClient::Clock::time_point deadline)
{
    while (true)
    {
        const auto tick = BusClient::Clock::now() + ProgressView::Tick;
        if (client.WaitForMessage(std::min(deadline, tick)))
        {
            return true;
        }
        if (BusClient::Clock::now() >= deadline)
        {
            return false;
        }
        view.Show(client.GetState());
    }
}

} // namespace Zel::Host::Cli

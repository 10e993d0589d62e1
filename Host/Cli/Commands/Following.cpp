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
constexpr std::chrono::seconds TimeToGetReady{5};

InstallationClock ReadClock(BusClient& client, const String& kind)
{
    const std::vector<PastInstallation> history = ReadPast(client);
    const bool underWay = kind.empty() && !history.empty() && history.front().result.empty();
    InstallationClock clock(history, underWay ? history.front().kind : kind);
    if (underWay && !history.front().steps.empty())
    {
        const std::uint64_t begin = history.front().steps.front().time;
        const std::uint64_t now = std::max(GetTimeNow(), begin);
        clock.Start(std::chrono::duration_cast<std::chrono::seconds>(std::chrono::microseconds(now - begin)));
    }
    return clock;
}

} // namespace

std::vector<PastInstallation> ReadPast(BusClient& client)
{
    try
    {
        return client.ReadHistory(EntriesOfInterest);
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

void AwaitReadiness(BusClient& client, BusClient::Clock::time_point limit)
{
    const auto deadline =
        std::min<BusClient::Clock::time_point>(limit, BusClient::Clock::now() + TimeToGetReady);
    try
    {
        client.Refresh();
        while (client.GetState().activity == Activity::Starting && client.WaitForMessage(deadline))
        {
        }
    }
    catch (const BusError&)
    {
        return;
    }
    catch (const Interrupted&)
    {
        return;
    }
}

BusClient::Clock::time_point RestartLimit::GetDeadline(InstallationStage stage)
{
    if (stage != InstallationStage::Restarting)
    {
        deadline = ClientConnection::Forever;
    }
    else if (deadline == ClientConnection::Forever)
    {
        deadline = BusClient::Clock::now() + Length;
    }
    return deadline;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Installation.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Commands/Following.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <chrono>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// Returns what is left now of the time that the arguments ask to wait for.
std::chrono::milliseconds GetDelay(const Arguments& arguments)
{
    if (!arguments.start)
    {
        return arguments.delay;
    }
    const auto left = *arguments.start - std::chrono::system_clock::now();
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(left), std::chrono::milliseconds(0));
}

} // namespace

Installation::Installation(Session& session, BusClient& client, const Undertaking& undertaking)
    : session(session), client(client), undertaking(undertaking),
      earlierVerdict(client.GetState().lastVerdict), watch(client.GetState()),
      view(MakeView(session, client, undertaking.kind))
{
    client.SetChangeHandler([this](const ComponentState& state) { OnChange(state); });
}

Installation::~Installation()
{
    client.SetChangeHandler({});
}

Report Installation::Run()
{
    try
    {
        Start();
        if (IsVoid())
        {
            return MakeReport(client.GetState(), "nothing-to-do",
                              "There is no installation to go back from.");
        }
        if (session.GetArguments().noWait)
        {
            return GetReports().ToAccepted(client.GetState());
        }
        const bool ended = Follow();
        view.Finish();
        return ended ? GetReports().ToEnd(watch, client.GetState())
                     : GetReports().ToNotRestarted(client.GetState());
    }
    catch (const Interrupted& interrupted)
    {
        view.Finish();
        return GetReports().ToInterrupted(watch, client.GetState(), interrupted);
    }
    catch (const BusError& error)
    {
        view.Finish();
        if (error.GetExitCode() == ExitCode::ServiceUnreachable)
        {
            return GetReports().ToLost(watch, client.GetState(), error);
        }
        throw;
    }
}

void Installation::OnChange(const ComponentState& state)
{
    watch.Observe(state, accepted);
    view.Show(state);
}

void Installation::Start()
{
    session.GetOutput().WriteLine(Format("{0} {1} ...",
                                         undertaking.IsRevert() ? "Reverting to" : "Installing",
                                         undertaking.DescribeVersion()));
    Order();
    accepted = true;
    // Only the service knows what a revert goes back to.
    const auto past = undertaking.IsRevert() ? ReadPast(client) : std::vector<PastInstallation>();
    if (!past.empty() && past.front().kind == undertaking.kind)
    {
        undertaking.version = past.front().to;
    }
    client.Refresh();
}

void Installation::Order()
{
    if (undertaking.IsRevert())
    {
        client.Revert();
        return;
    }
    const bool fallback = undertaking.kind == Api::Kind::Fallback;
    client.Install(undertaking.version, fallback, GetDelay(session.GetArguments()));
}

bool Installation::IsVoid() const
{
    const ComponentState& state = client.GetState();
    return undertaking.IsRevert() && state.state != Api::State::Installing &&
           state.lastVerdict == earlierVerdict;
}

bool Installation::Follow()
{
    RestartLimit limit;
    while (watch.IsOpen())
    {
        if (!WaitAndShow(client, view, limit.GetDeadline(watch.GetStage())))
        {
            return false;
        }
    }
    // What comes after the end is no part of it.
    client.SetChangeHandler({});
    AwaitReadiness(client);
    return true;
}

InstallationReport Installation::GetReports() const
{
    return {undertaking, session.GetArguments().restartExitCode};
}

} // namespace Zel::Host::Cli

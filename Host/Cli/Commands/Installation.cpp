#include "Cli/Commands/Installation.h"

#include "Cli/Commands/ComponentReport.h"
#include "Cli/Commands/Following.h"
#include "Cli/TimeText.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <chrono>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// A device that was told to restart stops its services long before that.
constexpr std::chrono::minutes RestartLimit{3};

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

String Installation::Describe(const String& target, bool fallback)
{
    return target.empty() ? (fallback ? "the fallback version" : "the pending version") : "version " + target;
}

Installation::Installation(Session& session, BusClient& client, const String& target)
    : session(session), client(client), target(target),
      version(Describe(target, session.GetArguments().fallback)),
      reports(version, session.GetArguments().restartExitCode), watch(client.GetState()),
      view(MakeView(session, client,
                    session.GetArguments().fallback ? Api::Kind::Fallback : Api::Kind::Install))
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
        if (session.GetArguments().noWait)
        {
            return ToAccepted();
        }
        const bool ended = Follow();
        view.Finish();
        return ended ? reports.ToEnd(watch, client.GetState()) : reports.ToNotRestarted(client.GetState());
    }
    catch (const Interrupted& interrupted)
    {
        view.Finish();
        return reports.ToInterrupted(watch, client.GetState(), interrupted);
    }
    catch (const BusError& error)
    {
        view.Finish();
        if (error.GetExitCode() == ExitCode::ServiceUnreachable)
        {
            return ToLost(error);
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
    const Arguments& arguments = session.GetArguments();
    session.GetOutput().WriteLine(Format("Installing {0} ...", version));
    client.Install(target, arguments.fallback, GetDelay(arguments));
    accepted = true;
    client.Refresh();
}

bool Installation::Follow()
{
    auto deadline = ClientConnection::Forever;
    while (watch.IsOpen())
    {
        const bool restarting = watch.GetStage() == InstallationStage::Restarting;
        if (restarting && deadline == ClientConnection::Forever)
        {
            deadline = BusClient::Clock::now() + RestartLimit;
        }
        if (!WaitAndShow(client, view, deadline))
        {
            return false;
        }
    }
    client.Refresh();
    return true;
}

Report Installation::ToAccepted() const
{
    const ComponentState& state = client.GetState();
    const String summary = state.IsWaiting()
                               ? Format("The installation of {0} is accepted and waits until {1}.", version,
                                        ToTimeText(state.nextStart))
                               : Format("The installation of {0} is accepted.", version);
    return MakeReport(state, "accepted", summary);
}

Report Installation::ToLost(const BusError& error) const
{
    if (watch.GetStage() == InstallationStage::Restarting)
    {
        return reports.ToRestarting(client.GetState());
    }
    Report report = MakeReport(client.GetState(), "lost",
                               Format("{0} while {1} was being installed", error.GetMessage(), version),
                               error.GetExitCode());
    report.next =
        "'zelupdate wait' waits for the service to come back, and tells how the installation stands.";
    report.errorName = error.GetShortName();
    return report;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Commands/Following.h"
#include "Cli/Commands/InstallationReport.h"
#include "Cli/InstallationWatch.h"
#include "Cli/ProgressView.h"

#include <algorithm>
#include <optional>

namespace Zel::Host::Cli
{

namespace
{

using Clock = BusClient::Clock;

/// How long reading may take where the time to wait is shorter.
constexpr std::chrono::seconds ReadingTime{1};

/// The wait for the end of the installation that runs, if one does.
class EndOfInstallation
{
public:
    EndOfInstallation(Session& session, Clock::time_point deadline) : session(session), deadline(deadline) {}

    [[nodiscard]] Report Await()
    {
        while (true)
        {
            try
            {
                BusClient& client = session.Await(deadline);
                do
                {
                    if (!Follow(client))
                    {
                        return ToUnended(client.GetState());
                    }
                    client.Refresh();
                    Observe(client.GetState());
                } while (watch && watch->IsOpen());
                return ToReport(client);
            }
            catch (const BusError& error)
            {
                if (error.GetName() == BusError::Timeout && Clock::now() >= deadline)
                {
                    throw CommandError(ExitCode::TimedOut,
                                       "the time to wait is over, and the service does not answer",
                                       "'zelupdate wait' waits again.");
                }
                if (!error.IsAbsence())
                {
                    throw;
                }
            }
            catch (const Interrupted& interrupted)
            {
                if (!watch)
                {
                    throw;
                }
                return GetReports().ToInterrupted(*watch, last, interrupted);
            }
        }
    }

private:
    void Observe(const ComponentState& state)
    {
        last = state;
        if (!watch && state.state == Api::State::Installing)
        {
            watch.emplace(state);
        }
        if (watch)
        {
            watch->Observe(state, true);
        }
    }

    /// Returns false when the time is over before the end, or the device does not restart.
    [[nodiscard]] bool Follow(BusClient& client)
    {
        Observe(client.GetState());
        if (!watch || !watch->IsOpen())
        {
            return true;
        }
        ReadUndertaking(client);
        ProgressView view = MakeView(session, client, "");
        // Reading the history may have brought a change.
        Observe(client.GetState());
        while (watch->IsOpen())
        {
            view.Show(client.GetState());
            if (!WaitAndShow(client, view, std::min(deadline, limit.GetDeadline(watch->GetStage()))))
            {
                return false;
            }
            Observe(client.GetState());
        }
        return true;
    }

    /// Takes kind and version from the history: of the newest entry, or without an installation that was
    /// watched of the one that brought the last verdict.
    void ReadUndertaking(BusClient& client)
    {
        for (const PastInstallation& entry : ReadPast(client))
        {
            if (watch || (!entry.result.empty() && entry.result != Api::Result::CalledOff))
            {
                undertaking = {entry.kind, entry.to};
                return;
            }
        }
        undertaking = {"", watch ? "" : client.GetState().lastVerdict.version};
    }

    [[nodiscard]] Report ToUnended(const ComponentState& state) const
    {
        return Clock::now() < deadline ? GetReports().ToNotRestarted(state) : GetReports().ToTimedOut(state);
    }

    [[nodiscard]] Report ToReport(BusClient& client)
    {
        ReadUndertaking(client);
        if (watch)
        {
            AwaitReadiness(client, deadline);
            return GetReports().ToEnd(*watch, client.GetState());
        }
        const ComponentState& state = client.GetState();
        const LastVerdict& verdict = state.lastVerdict;
        return verdict.result.empty() ? MakeReport(state, "nothing-to-do",
                                                   "Nothing is being installed, and there is no verdict.")
                                      : GetReports().ToVerdict(verdict.result, verdict.reason, state);
    }

    [[nodiscard]] InstallationReport GetReports() const
    {
        return {undertaking, session.GetArguments().restartExitCode};
    }

    Session& session;
    const Clock::time_point deadline;
    std::optional<InstallationWatch> watch;
    Undertaking undertaking;
    RestartLimit limit;
    ComponentState last;
};

} // namespace

Report RunWait(Session& session)
{
    const auto& timeout = session.GetArguments().timeout;
    const auto deadline = timeout ? Clock::now() + *timeout : ClientConnection::Forever;
    // Without any time to wait there is still something to tell.
    session.GetClient().SetReadLimit(std::max(deadline, Clock::now() + ReadingTime));
    return EndOfInstallation(session, deadline).Await();
}

} // namespace Zel::Host::Cli

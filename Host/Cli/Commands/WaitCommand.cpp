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
                    Follow(client);
                    client.Refresh();
                    Observe(client.GetState());
                } while (watch && watch->IsOpen());
                return ToReport(client.GetState());
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
                return MakeReports(last).ToInterrupted(*watch, last, interrupted);
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

    void Follow(BusClient& client)
    {
        Observe(client.GetState());
        if (!watch || !watch->IsOpen())
        {
            return;
        }
        ProgressView view = MakeView(session, client, "");
        // Reading the history may have brought a change.
        Observe(client.GetState());
        while (watch->IsOpen())
        {
            view.Show(client.GetState());
            if (!WaitAndShow(client, view, deadline))
            {
                throw CommandError(ExitCode::TimedOut,
                                   "the time to wait is over, and the installation goes on",
                                   "'zelupdate wait' waits again.");
            }
            Observe(client.GetState());
        }
    }

    [[nodiscard]] Report ToReport(const ComponentState& state) const
    {
        if (watch)
        {
            return MakeReports(state).ToEnd(*watch, state);
        }
        const LastVerdict& verdict = state.lastVerdict;
        return verdict.result.empty() ? MakeReport(state, "nothing-to-do",
                                                   "Nothing is being installed, and there is no verdict.")
                                      : MakeReports(state).ToVerdict(verdict.result, verdict.reason, state);
    }

    [[nodiscard]] InstallationReport MakeReports(const ComponentState& state) const
    {
        const String& version = state.lastVerdict.version;
        const bool installing = state.state == Api::State::Installing;
        return {installing || version.empty() ? "the new version" : "version " + version,
                session.GetArguments().restartExitCode};
    }

    Session& session;
    const Clock::time_point deadline;
    std::optional<InstallationWatch> watch;
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

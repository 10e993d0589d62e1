#include "Cli/InstallationWatch.h"

namespace Zel::Host::Cli
{

InstallationWatch::InstallationWatch(const ComponentState& before) : earlierVerdict(before.lastVerdict) {}

void InstallationWatch::Observe(const ComponentState& now, bool accepted)
{
    begun = begun || accepted || now.state == ComponentState::Installing;
    if (begun)
    {
        phase = Judge(now);
        const bool newVerdict = now.lastVerdict != earlierVerdict;
        reason = newVerdict && now.message.empty() ? now.lastVerdict.reason : now.message;
    }
}

bool InstallationWatch::IsOpen() const noexcept
{
    return phase == InstallationPhase::Running || phase == InstallationPhase::Restarting;
}

InstallationPhase InstallationWatch::Judge(const ComponentState& now) const
{
    if (now.state == ComponentState::Installing)
    {
        if (now.IsRestarting())
        {
            return InstallationPhase::Restarting;
        }
        return now.IsRestartByHand() ? InstallationPhase::RestartByHand : InstallationPhase::Running;
    }
    const bool newVerdict = now.lastVerdict != earlierVerdict;
    if (newVerdict && now.lastVerdict.IsSwitchedBack())
    {
        return InstallationPhase::SwitchedBack;
    }
    if (now.state == ComponentState::Failed)
    {
        return InstallationPhase::Failed;
    }
    return newVerdict && now.lastVerdict.result == "succeeded" ? InstallationPhase::Succeeded
                                                               : InstallationPhase::Ended;
}

} // namespace Zel::Host::Cli

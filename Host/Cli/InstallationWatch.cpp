#include "Cli/InstallationWatch.h"

namespace Zel::Host::Cli
{

InstallationWatch::InstallationWatch(const ComponentState& before) : earlierVerdict(before.lastVerdict) {}

void InstallationWatch::Observe(const ComponentState& now, bool accepted)
{
    begun = begun || accepted || now.state == Api::State::Installing;
    if (begun)
    {
        stage = Judge(now);
        const bool newVerdict = now.lastVerdict != earlierVerdict;
        reason = newVerdict && now.message.empty() ? now.lastVerdict.reason : now.message;
    }
}

bool InstallationWatch::IsOpen() const noexcept
{
    return stage == InstallationStage::Running || stage == InstallationStage::Restarting;
}

InstallationStage InstallationWatch::Judge(const ComponentState& now) const
{
    if (now.state == Api::State::Installing)
    {
        if (now.activity == Activity::Restarting)
        {
            return InstallationStage::Restarting;
        }
        return now.activity == Activity::RestartNeeded ? InstallationStage::RestartByHand
                                                       : InstallationStage::Running;
    }
    const bool newVerdict = now.lastVerdict != earlierVerdict;
    if (newVerdict && now.lastVerdict.result == Api::Result::SwitchedBack)
    {
        return InstallationStage::SwitchedBack;
    }
    if (now.state == Api::State::Failed)
    {
        return InstallationStage::Failed;
    }
    return newVerdict && now.lastVerdict.result == Api::Result::Succeeded ? InstallationStage::Succeeded
                                                                          : InstallationStage::CalledOff;
}

} // namespace Zel::Host::Cli

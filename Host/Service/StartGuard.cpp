#include "Service/StartGuard.h"

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;

namespace
{

/// Whether RAUC boots the other slot next. An installation starts from the slot that is booted, and a revert
/// goes back to it.
bool IsSwitched(const StartFacts& facts)
{
    const String& primarySlot = facts.rauc.primarySlot;
    const bool known = !primarySlot.empty() && !facts.installerSlot.empty();
    return known && (primarySlot == facts.installerSlot) != facts.record.begunAsInstallation;
}

/// Whether RAUC did not tell which slot it boots next, and still has time to.
bool MayAnswerLater(const StartFacts& facts)
{
    return facts.rauc.primarySlot.empty() && !facts.waitedLong;
}

} // namespace

StartGuard::Decision StartGuard::Decide(const StartFacts& facts)
{
    if (facts.record.state != InstallationState::Installing)
    {
        return {StartAction::Initialize, ""};
    }
    if (facts.record.phase == InstallationPhase::Begun)
    {
        return {StartAction::EndAsFailed, "The installation was interrupted before it was prepared."};
    }
    if (facts.record.bootId == facts.bootId)
    {
        return DecideInSameBoot(facts);
    }
    return DecideInNewBoot(facts);
}

StartGuard::Decision StartGuard::DecideInNewBoot(const StartFacts& facts)
{
    // A module that asks a busy RAUC gets no answer, and would take that for a failure.
    if (facts.rauc.state == RaucState::Busy || MayAnswerLater(facts))
    {
        return {StartAction::Wait, "RAUC has to tell which slot was booted."};
    }
    if (facts.record.dueTime > facts.now && facts.rauc.primarySlot == facts.installerSlot)
    {
        return {StartAction::EndAsFailed,
                "The device was restarted while the installation waited for its time."};
    }
    return {StartAction::Initialize, ""};
}

StartGuard::Decision StartGuard::DecideInSameBoot(const StartFacts& facts)
{
    if (facts.rauc.state == RaucState::Busy)
    {
        return {StartAction::Wait, "RAUC goes on with the installation."};
    }
    if (MayAnswerLater(facts))
    {
        return {StartAction::Wait, "RAUC has to tell how far the installation came."};
    }
    if (IsSwitched(facts))
    {
        return {StartAction::Restart, "The installation is complete, and the device was not restarted yet."};
    }
    return {StartAction::EndAsFailed,
            facts.record.dueTime > facts.now
                ? "The service was started again while the installation waited for its time."
                : "The service was started again during the installation, which RAUC did not complete."};
}

} // namespace Zel::Host::Service

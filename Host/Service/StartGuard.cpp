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

/// Whether RAUC was not asked for anything yet, because the installation's time has not come.
bool IsWaitingForItsTime(const StartFacts& facts)
{
    return facts.record.dueTime > facts.now && !IsSwitched(facts);
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
    if (!facts.record.prepared)
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
    if (IsWaitingForItsTime(facts))
    {
        return {StartAction::InstallAgain, "The device was restarted while the installation waited."};
    }
    return {StartAction::Initialize, ""};
}

StartGuard::Decision StartGuard::DecideInSameBoot(const StartFacts& facts)
{
    if (facts.rauc.state == RaucState::Busy)
    {
        return {StartAction::Wait, "RAUC goes on with the installation."};
    }
    // RAUC may have switched the slot before it went, so that nothing but its own word counts.
    if (facts.rauc.state != RaucState::Resting || MayAnswerLater(facts))
    {
        return {StartAction::Wait, "RAUC has to tell how far the installation came."};
    }
    if (IsSwitched(facts))
    {
        return {StartAction::Restart, "The installation is complete, and the device was not restarted yet."};
    }
    if (IsWaitingForItsTime(facts))
    {
        return {StartAction::InstallAgain, "The service was started again while the installation waited."};
    }
    return {StartAction::EndAsFailed, "The installation was interrupted, and RAUC did not complete it."};
}

} // namespace Zel::Host::Service

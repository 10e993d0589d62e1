#include "Service/StartGuard.h"

#include "Zel/System/Core/Format.h"

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Core::Format;

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
    // One that waits loses nothing by that: it is asked for again.
    if (!facts.record.prepared && facts.record.dueTime == 0)
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
    const ComponentRecord& record = facts.record;
    const bool known = !record.bootSlot.empty() && !facts.rauc.bootSlot.empty();
    const bool sameSlot = known && record.bootSlot == facts.rauc.bootSlot;
    const bool unchanged = sameSlot || (!known && !IsSwitched(facts));
    if (record.dueTime > facts.now || (record.dueTime != 0 && unchanged))
    {
        return {StartAction::InstallAgain, "The device was restarted while the installation waited."};
    }
    if (sameSlot && !record.begunAsInstallation)
    {
        return {StartAction::EndAsFailed, "The device has booted the slot again that it was to leave."};
    }
    if (sameSlot && !record.restartOrdered)
    {
        return {StartAction::EndAsFailed,
                "The device was restarted before the installation was known to be complete, and runs from "
                "the slot that it was to leave."};
    }
    return {StartAction::Initialize, ""};
}

StartGuard::Decision StartGuard::DecideInSameBoot(const StartFacts& facts)
{
    const bool waited = facts.record.dueTime != 0;
    const String waitedReason = "The service was started again while the installation waited.";
    if (waited && facts.record.dueTime > facts.now)
    {
        // Whatever RAUC does, it does for somebody else.
        return {StartAction::InstallAgain, waitedReason};
    }
    const String what = facts.record.begunAsInstallation ? "installation" : "revert";
    if (facts.rauc.state == RaucState::Busy)
    {
        return {StartAction::Wait, Format("RAUC goes on with the {0}.", what)};
    }
    // RAUC may have switched the slot before it went, so that nothing but its own word counts.
    if (facts.rauc.state != RaucState::Resting || MayAnswerLater(facts))
    {
        return {StartAction::Wait, Format("RAUC has to tell how far the {0} came.", what)};
    }
    if (IsSwitched(facts))
    {
        return {StartAction::Restart,
                Format("The {0} is complete, and the device was not restarted yet.", what)};
    }
    if (waited)
    {
        return {StartAction::InstallAgain, waitedReason};
    }
    return {StartAction::EndAsFailed, Format("The {0} was interrupted, and RAUC did not complete it.", what)};
}

} // namespace Zel::Host::Service

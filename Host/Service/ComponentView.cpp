#include "Service/ComponentView.h"

#include "Service/Clock.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;

ComponentView::Change ComponentView::Show(const ComponentStatus& status, const Facts& facts)
{
    const ComponentRecord& record = status.record;
    const bool waiting = IsWaiting(record, facts);
    ComponentSnapshot next = snapshot;
    next.activity = waiting ? Activity::Waiting : FindActivity(record, facts);
    next.state = waiting ? InstallationState::Installing : record.state;
    next.message = EscapeControlCharacters(status.message);
    next.progress = status.progress;
    next.progressText = EscapeControlCharacters(status.progressText);
    next.revertible = record.revertible && moduleRevertible.value_or(true);
    next.lastVerdict = status.lastVerdict;
    next.lastVerdict.version = EscapeControlCharacters(next.lastVerdict.version);
    next.lastVerdict.reason = EscapeControlCharacters(next.lastVerdict.reason);
    next.nextStart = waiting ? record.dueTime : 0;

    Change change;
    if (verdictKnown && next.lastVerdict != snapshot.lastVerdict)
    {
        change.verdict = next.lastVerdict;
    }
    change.ended = snapshot.state == InstallationState::Installing && next.state != snapshot.state;
    change.endedWhileWaiting = change.ended && snapshot.activity == Activity::Waiting && !suspended;
    verdictKnown = true;
    suspended = record.IsSuspended();
    Replace(next);
    return change;
}

bool ComponentView::IsWaiting(const ComponentRecord& record, const Facts& facts)
{
    if (record.IsSuspended() || record.dueTime == 0 || record.state != InstallationState::Installing)
    {
        return record.IsSuspended();
    }
    return facts.startTime ? std::chrono::steady_clock::now() < *facts.startTime
                           : record.dueTime > GetUnixTime();
}

const String& ComponentView::FindActivity(const ComponentRecord& record, const Facts& facts)
{
    const bool sameBoot = record.bootId == facts.bootId;
    if (record.state != InstallationState::Installing)
    {
        return facts.ready ? Activity::None : Activity::Starting;
    }
    if (facts.restartFailed)
    {
        return Activity::RestartNeeded;
    }
    if (facts.restarting || (facts.ready && record.restartOrdered && sameBoot))
    {
        return Activity::Restarting;
    }
    if (!facts.ready || !sameBoot)
    {
        return Activity::Deciding;
    }
    return record.begunAsInstallation ? Activity::Installing : Activity::Reverting;
}

void ComponentView::Show(const ModuleVersions& versions)
{
    ComponentSnapshot next = snapshot;
    const auto show = [](const std::optional<String>& version, String& shown)
    { shown = version ? EscapeControlCharacters(*version) : shown; };
    show(versions.currentVersion, next.currentVersion);
    show(versions.pendingVersion, next.pendingVersion);
    show(versions.fallbackVersion, next.fallbackVersion);
    pendingKnown = pendingKnown || versions.pendingVersion;
    fallbackKnown = fallbackKnown || versions.fallbackVersion;
    if (pendingKnown && fallbackKnown && (versions.pendingVersion || versions.fallbackVersion))
    {
        next.versionsTime = GetUnixTime();
    }
    moduleRevertible = versions.revertible ? versions.revertible : moduleRevertible;
    Replace(next);
}

void ComponentView::Replace(const ComponentSnapshot& next)
{
    const std::vector<String> changes = next.GetChanges(snapshot);
    snapshot = next;
    if (!changes.empty() && changeHandler)
    {
        changeHandler(changes);
    }
}

void ComponentView::Tell(const Verdict& verdict)
{
    if (verdictHandler)
    {
        verdictHandler(verdict);
    }
    else
    {
        untoldVerdict = verdict;
    }
}

void ComponentView::TellEarlierVerdict()
{
    if (verdictHandler && untoldVerdict)
    {
        verdictHandler(*std::exchange(untoldVerdict, std::nullopt));
    }
}

} // namespace Zel::Host::Service

#include "Service/Component.h"

#include "Service/Clock.h"

#include <algorithm>
#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

Component::Component(String id, ComponentEnvironment environment)
    : id(std::move(id)), environment(std::move(environment)),
      start(this->id, this->environment,
            {[this] { module.Create([this](auto& failure) { OnInitialized(failure); }); },
             [this] { OnRestarting(); }, [this](auto& text) { OnInterrupted(text); }}),
      announcementTimer(this->environment.loop, [this] { UpdateStatus(); }),
      refreshTimer(this->environment.loop, [this] { Refresh(false); }),
      delayTimer(this->environment.loop, [this] { UpdateStatus(); }),
      endTimer(this->environment.loop, [this] { this->environment.status->RetryEnd(this->id); }),
      againTimer(this->environment.loop, [this] { InstallAgain(); }), module(this->id, this->environment)
{
    UpdateStatus();
}

Component::~Component()
{
    Stop();
}

void Component::Start()
{
    life = Life::Starting;
    startTime.reset();
    UpdateStatus();
    start.Begin();
}

bool Component::HasStarted() const noexcept
{
    return life == Life::Ready || life == Life::Restarting;
}

void Component::OnInitialized(const ModuleWorker::Failure& failure)
{
    if (life != Life::Starting)
    {
        // Dropped meanwhile, to be started again.
        return;
    }
    if (failure)
    {
        life = Life::Stopped;
        FinishAfterStart();
        environment.started(RequestResult::FromCode(ResultCode::OperationFailed, *failure));
        return;
    }
    life = Life::Initialized;
    UpdateStatus();
    Refresh(true);
}

void Component::OnRestarting()
{
    life = Life::Restarting;
    restartFailed = false;
    UpdateStatus();
    FinishAfterStart();
    environment.started(RequestResult::Done());
}

void Component::OnReady()
{
    life = Life::Ready;
    UpdateStatus();
    FinishAfterStart();
    environment.started(RequestResult::Done());
    InstallAgain();
}

void Component::FinishAfterStart()
{
    if (const auto result = std::exchange(resultAfterStart, std::nullopt))
    {
        Finish(*result);
    }
}

void Component::InstallAgain()
{
    const auto known = environment.status->GetComponentStatus(id);
    if (life != Life::Ready || (known && !known->record.IsSuspended()))
    {
        return;
    }
    againTimer.Arm(RefreshRetry);
    if (known && !request)
    {
        environment.probe(
            [this](const RaucAnswer& answer)
            {
                // It may have been called off, or asked for, while RAUC was asked.
                UpdateStatus();
                if (answer.state == RaucState::Resting && life == Life::Ready && !request &&
                    record.IsSuspended())
                {
                    InstallSuspended();
                }
            });
    }
}

void Component::InstallSuspended()
{
    const std::vector<HistoryEntry> entries = GetHistory(1);
    if (entries.empty())
    {
        return;
    }
    const HistoryEntry& entry = entries.front();
    // A clock that was set back meanwhile must not make the delay longer than it was.
    const std::int64_t delay = std::max<std::int64_t>(record.dueTime - entry.begun, 0);
    const std::int64_t left = std::clamp<std::int64_t>(record.dueTime - GetUnixTime(), 0, delay);
    String version;
    environment.status->ReadProperty(id, StatusStore::TargetVersionProperty, version);
    againTimer.Disarm();
    request =
        Request{"install", entry.caller, [this](const RequestResult& result) { OnInstalledAgain(result); }};
    AskToInstall({version.empty() ? entry.to : version, entry.kind == Api::Kind::Fallback,
                  static_cast<std::uint64_t>(left / MicrosecondsPerMillisecond)},
                 record.dueTime);
}

void Component::OnInstalledAgain(const RequestResult& result)
{
    UpdateStatus();
    if (result.IsOk() || !record.IsSuspended())
    {
        return;
    }
    const bool isFinal = result.error == ToString(ResultCode::NotFound) ||
                         result.error == ToString(ResultCode::InvalidArgument);
    if (!isFinal)
    {
        againTimer.Arm(RefreshRetry);
    }
    else
    {
        const String text = "The installation that waited could not be resumed. " + result.text;
        environment.status->SetMessage(id, text, false);
        environment.status->EndInstallation(id, false);
        UpdateStatus();
    }
}

void Component::Drop(EventLoop::Task done)
{
    life = Life::Dropping;
    start.Abandon();
    againTimer.Disarm();
    dropDone = std::move(done);
    module.Destroy(
        [this]
        {
            if (life == Life::Dropping)
            {
                life = Life::Stopped;
                std::exchange(dropDone, {})();
            }
        });
}

void Component::Stop()
{
    life = Life::Stopped;
    module.Stop();
}

void Component::OnStatusChanged()
{
    module.NoteProgress();
    if (!announcementTimer.IsArmed())
    {
        const auto passed = std::chrono::steady_clock::now() - lastAnnouncement;
        announcementTimer.Arm(
            std::chrono::duration_cast<std::chrono::microseconds>(AnnouncementInterval - passed));
    }
}

void Component::OnRaucOwnerChanged(bool owned)
{
    if (owned)
    {
        Refresh(true);
        InstallAgain();
        return;
    }
    raucGone = true;
    UpdateStatus();
    // While an installation waits for its time, RAUC has nothing to do with it.
    if (life == Life::Ready && IsInstalling() && GetSnapshot().activity != Activity::Waiting)
    {
        Log(LogLevel::Warning, "RAUC has gone during an installation; how far that came is asked for now.");
        Drop([this] { Start(); });
    }
}

void Component::Refresh(bool withFallback)
{
    refreshWanted = true;
    fallbackWanted = fallbackWanted || withFallback;
    environment.probe([this](const RaucAnswer& answer) { ReadVersions(answer.state); });
}

void Component::ReadVersions(RaucState state)
{
    UpdateStatus();
    // Later events ask again: the end of the request, of the installation, or the start.
    const bool allowed = (life == Life::Initialized || life == Life::Ready) && !request &&
                         (!IsInstalling() || record.IsSuspended());
    if (allowed && (state == RaucState::Busy || state == RaucState::Silent))
    {
        refreshTimer.Arm(RefreshRetry);
    }
    const bool versions = allowed && state == RaucState::Resting;
    const bool fallback = versions && fallbackWanted;
    if (versions && life == Life::Ready)
    {
        environment.rested();
    }
    refreshWanted = refreshWanted && !versions;
    fallbackWanted = fallbackWanted && !fallback;
    // The running one stays the same as long as the process lives.
    module.Read({GetSnapshot().currentVersion.empty(), versions, fallback},
                [this](const ModuleVersions& read) { OnVersions(read); });
}

void Component::OnVersions(const ModuleVersions& versions)
{
    view.Show(versions);
    UpdateStatus();
    if (life == Life::Initialized)
    {
        OnReady();
    }
}

bool Component::IsInstalling() const
{
    const auto known = environment.status->GetComponentStatus(id);
    return !known || known->record.state == InstallationState::Installing || known->record.IsSuspended();
}

void Component::UpdateStatus()
{
    const bool wasSuspended = record.IsSuspended();
    const ComponentView::Change change = ShowStatus();
    if (change.verdict && change.verdict->result == Api::Result::Failed)
    {
        // Of an installation from before a restart of the device it is the module that notifies, which
        // decides it; but it knows nothing of a suspended one.
        const bool sameBoot = record.bootId == environment.status->GetBootId();
        if (sameBoot || wasSuspended)
        {
            environment.failed(DescribeFailure(*change.verdict));
        }
    }
    FollowUp(change);
}

ComponentView::Change Component::ShowStatus()
{
    const auto status = environment.status->GetComponentStatus(id);
    if (!status)
    {
        return {};
    }
    record = status->record;
    restartFailed = restartFailed && record.restartOrdered;
    // While it starts, `ComponentStart` tries again.
    if (status->endLost && life == Life::Ready && !endTimer.IsArmed())
    {
        endTimer.Arm(EndRetry);
    }
    lastAnnouncement = std::chrono::steady_clock::now();
    return view.Show(*status, {life == Life::Ready, life == Life::Restarting, restartFailed,
                               environment.status->GetBootId(), startTime});
}

void Component::FollowUp(const ComponentView::Change& change)
{
    if (change.verdict)
    {
        view.Tell(*change.verdict);
    }
    if (change.ended && life == Life::Ready)
    {
        OnInstallationEnded(change.endedWhileWaiting);
    }
}

String Component::DescribeFailure(const Verdict& verdict) const
{
    return record.begunAsInstallation
               ? Format("The installation of version '{0}' has failed. {1}", verdict.version, verdict.reason)
               : Format("The revert has failed. {0}", verdict.reason);
}

void Component::OnInterrupted(const String& text)
{
    FollowUp(ShowStatus());
    environment.interrupted(text);
}

void Component::OnRestartFailed(const String& reason)
{
    if (IsInstalling())
    {
        restartFailed = true;
        environment.status->AddStep(id, "The restart failed: " + reason);
        environment.status->SetMessage(
            id, Format("Failed to reboot device. The restart must be triggered manually. {0}", reason),
            false);
    }
}

void Component::OnInstallationEnded(bool whileWaiting)
{
    if (whileWaiting)
    {
        // Somebody else had RAUC fail meanwhile, which a module takes for its own; its executor waits on.
        Log(LogLevel::Warning, "The installation has ended before its time; the module is made anew.");
        Drop([this] { Start(); });
        return;
    }
    Refresh(true);
}

std::vector<HistoryEntry> Component::GetHistory(std::uint32_t limit) const
{
    return environment.status->GetHistory(id, limit);
}

} // namespace Zel::Host::Service

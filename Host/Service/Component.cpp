#include "Service/Component.h"

#include "Service/Clock.h"

#include <algorithm>
#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

Component::Component(String id, ComponentEnvironment environment)
    : id(std::move(id)), environment(std::move(environment)),
      start(this->id, this->environment, {[this] { Initialize(); }, [this] { OnRestarting(); }}),
      announcementTimer(this->environment.loop, [this] { UpdateStatus(); }),
      refreshTimer(this->environment.loop, [this] { Refresh(false); }),
      delayTimer(this->environment.loop, [this] { UpdateStatus(); }),
      endTimer(this->environment.loop, [this] { this->environment.status->RetryEnd(this->id); }),
      againTimer(this->environment.loop, [this] { InstallAgain(); }), worker("UpdateWorker")
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

void Component::Initialize()
{
    worker.Post(
        [this]
        {
            const std::optional<String> failure = CreateModule();
            environment.loop.Post([this, failure] { OnInitialized(failure); });
        });
}

std::optional<String> Component::CreateModule()
{
    std::optional<String> failure;
    try
    {
        module = environment.createModule();
        module->Initialize(environment.settingsPath, environment.status);
    }
    catch (const std::exception& exception)
    {
        failure = exception.what();
    }
    catch (...)
    {
        failure = "It failed in an unknown way.";
    }
    if (failure)
    {
        module.reset();
    }
    return failure;
}

void Component::OnInitialized(const std::optional<String>& failure)
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
            [this, record = known->record](const RaucAnswer& answer)
            {
                // It may have been called off, or asked for, while RAUC was asked.
                UpdateStatus();
                if (answer.state == RaucState::Resting && life == Life::Ready && !request && suspended)
                {
                    InstallAgain(record);
                }
            });
    }
}

void Component::InstallAgain(const ComponentRecord& record)
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
    AskToInstall({version.empty() ? entry.to : version, entry.kind == HistoryEntry::Fallback,
                  static_cast<std::uint64_t>(left / MicrosecondsPerMillisecond)},
                 record.dueTime);
}

void Component::OnInstalledAgain(const RequestResult& result)
{
    UpdateStatus();
    if (result.IsOk() || !suspended)
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
    }
}

void Component::Drop(EventLoop::Task done)
{
    life = Life::Dropping;
    start.Abandon();
    againTimer.Disarm();
    dropDone = std::move(done);
    worker.Post(
        [this]
        {
            module.reset();
            environment.loop.Post(
                [this]
                {
                    if (life == Life::Dropping)
                    {
                        life = Life::Stopped;
                        std::exchange(dropDone, {})();
                    }
                });
        });
}

void Component::Stop()
{
    life = Life::Stopped;
    worker.Stop();
    module.reset();
}

void Component::OnStatusChanged()
{
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
    }
    // While an installation waits for its time, RAUC has nothing to do with it.
    else if (life == Life::Ready && IsInstalling() && snapshot.activity != Activity::Waiting)
    {
        Log(LogLevel::Warning, "RAUC has gone during an installation; how far that came is asked for now.");
        Drop([this] { Start(); });
    }
}

void Component::Refresh(bool withFallback)
{
    refreshWanted = true;
    fallbackWanted = fallbackWanted || withFallback;
    environment.probe([this](const RaucAnswer& answer) { ReadPicture(answer.state); });
}

void Component::ReadPicture(RaucState state)
{
    // Later events ask again: the end of the request, of the installation, or the start.
    const bool allowed =
        (life == Life::Initialized || life == Life::Ready) && !request && (!IsInstalling() || suspended);
    if (allowed && (state == RaucState::Busy || state == RaucState::Silent))
    {
        refreshTimer.Arm(RefreshRetry);
    }
    const bool versions = allowed && state == RaucState::Resting;
    const bool fallback = versions && fallbackWanted;
    // It stays the same as long as the process lives.
    const bool current = snapshot.currentVersion.empty();
    if (versions && life == Life::Ready)
    {
        environment.rested();
    }
    refreshWanted = refreshWanted && !versions;
    fallbackWanted = fallbackWanted && !fallback;
    worker.Post(
        [this, current, versions, fallback]
        {
            const ModulePicture picture = module ? AskModule(current, versions, fallback) : ModulePicture();
            environment.loop.Post([this, picture] { Apply(picture); });
        });
}

ModulePicture Component::AskModule(bool current, bool pending, bool fallback) const
{
    const ModuleCalls calls(*module, id);
    ModulePicture picture;
    if (current)
    {
        calls.ReadCurrent(picture);
    }
    if (pending)
    {
        calls.ReadPending(picture);
    }
    if (fallback)
    {
        calls.ReadFallback(picture);
    }
    return picture;
}

void Component::Apply(const ModulePicture& picture)
{
    ComponentSnapshot next = snapshot;
    const auto show = [](const std::optional<String>& version, String& shown)
    { shown = version ? EscapeControlCharacters(*version) : shown; };
    show(picture.currentVersion, next.currentVersion);
    show(picture.pendingVersion, next.pendingVersion);
    show(picture.fallbackVersion, next.fallbackVersion);
    if (picture.currentVersion || picture.pendingVersion || picture.fallbackVersion)
    {
        next.versionsTime = GetUnixTime();
    }
    moduleRevertible = picture.revertible ? picture.revertible : moduleRevertible;
    Show(next);
    UpdateStatus();
    if (life == Life::Initialized)
    {
        OnReady();
    }
}

bool Component::IsInstalling()
{
    UpdateStatus();
    return !statusKnown || snapshot.state == InstallationState::Installing;
}

void Component::UpdateStatus()
{
    const auto known = environment.status->GetComponentStatus(id);
    statusKnown = known.has_value();
    if (!known)
    {
        return;
    }
    const ComponentStatus& status = *known;
    const ComponentRecord& record = status.record;
    const bool wasInstalling = snapshot.state == InstallationState::Installing;
    const bool wasWaiting = snapshot.activity == Activity::Waiting && !suspended;
    const bool waiting = IsWaiting(record);
    restartFailed = restartFailed && record.restartOrdered;
    suspended = record.IsSuspended();
    ComponentSnapshot next = snapshot;
    next.activity = waiting ? Activity::Waiting : FindActivity(record);
    next.state = waiting ? InstallationState::Installing : record.state;
    next.message = EscapeControlCharacters(status.message);
    next.progress = status.progress;
    next.progressText = EscapeControlCharacters(status.progressText);
    next.revertible = record.revertible && moduleRevertible.value_or(true);
    next.lastVerdict = status.lastVerdict;
    next.lastVerdict.version = EscapeControlCharacters(next.lastVerdict.version);
    next.lastVerdict.reason = EscapeControlCharacters(next.lastVerdict.reason);
    next.nextStart = waiting ? record.dueTime : 0;
    // While it starts, `ComponentStart` tries again.
    if (status.endLost && life == Life::Ready && !endTimer.IsArmed())
    {
        endTimer.Arm(EndRetry);
    }
    lastAnnouncement = std::chrono::steady_clock::now();
    const bool isNewVerdict = verdictKnown && next.lastVerdict != snapshot.lastVerdict;
    verdictKnown = true;
    Show(next);
    if (isNewVerdict)
    {
        OnVerdict(record);
    }
    if (wasInstalling && next.state != InstallationState::Installing && life == Life::Ready)
    {
        OnInstallationEnded(wasWaiting);
    }
}

bool Component::IsWaiting(const ComponentRecord& record) const
{
    if (record.IsSuspended() || record.dueTime == 0 || record.state != InstallationState::Installing)
    {
        return record.IsSuspended();
    }
    return startTime ? std::chrono::steady_clock::now() < *startTime : record.dueTime > GetUnixTime();
}

const String& Component::FindActivity(const ComponentRecord& record) const
{
    const bool sameBoot = record.bootId == environment.status->GetBootId();
    if (record.state != InstallationState::Installing)
    {
        return life == Life::Ready ? Activity::None : Activity::Starting;
    }
    if (restartFailed)
    {
        return Activity::RestartNeeded;
    }
    if (life == Life::Restarting || (life == Life::Ready && record.restartOrdered && sameBoot))
    {
        return Activity::Restarting;
    }
    if (life != Life::Ready || !sameBoot)
    {
        return Activity::Deciding;
    }
    return record.begunAsInstallation ? Activity::Installing : Activity::Reverting;
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

void Component::OnVerdict(const ComponentRecord& record)
{
    const Verdict& verdict = snapshot.lastVerdict;
    if (verdictHandler)
    {
        verdictHandler(verdict);
    }
    else
    {
        untoldVerdict = verdict;
    }
    // After a restart of the device it is the module that notifies.
    const bool sameBoot = record.bootId == environment.status->GetBootId();
    if (verdict.result == HistoryEntry::Failed && life == Life::Ready && sameBoot)
    {
        environment.failed(
            record.begunAsInstallation
                ? Format("The installation of version '{0}' has failed. {1}", verdict.version, verdict.reason)
                : Format("The revert has failed. {0}", verdict.reason));
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

void Component::Show(const ComponentSnapshot& next)
{
    const std::vector<String> changes = next.GetChanges(snapshot);
    snapshot = next;
    if (!changes.empty() && changeHandler)
    {
        changeHandler(changes);
    }
}

void Component::SetChangeHandler(ChangeHandler handler)
{
    changeHandler = std::move(handler);
}

void Component::SetVerdictHandler(VerdictHandler handler)
{
    verdictHandler = std::move(handler);
}

void Component::TellEarlierVerdict()
{
    if (verdictHandler && untoldVerdict)
    {
        verdictHandler(*std::exchange(untoldVerdict, std::nullopt));
    }
}

std::vector<HistoryEntry> Component::GetHistory(std::uint32_t limit) const
{
    return environment.status->GetHistory(id, limit);
}

} // namespace Zel::Host::Service

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

Component::Component(String id, ComponentEnvironment environment)
    : id(std::move(id)), environment(std::move(environment)),
      start(this->id, this->environment,
            {[this](const std::optional<ComponentStart::Delayed>& wanted)
             {
                 delayed = wanted;
                 Initialize();
             },
             [this] { OnRestarting(); }}),
      announcementTimer(this->environment.loop, [this] { UpdateStatus(); }),
      refreshTimer(this->environment.loop, [this] { Refresh(false); }),
      delayTimer(this->environment.loop, [this] { UpdateStatus(); }), worker("UpdateWorker")
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
    FinishAfterStart();
    environment.started(RequestResult::Done());
}

void Component::OnReady()
{
    life = Life::Ready;
    FinishAfterStart();
    environment.started(RequestResult::Done());
    if (delayed)
    {
        InstallDelayed(*std::exchange(delayed, std::nullopt));
    }
}

void Component::FinishAfterStart()
{
    if (const auto result = std::exchange(resultAfterStart, std::nullopt))
    {
        Finish(*result);
    }
}

void Component::InstallDelayed(const ComponentStart::Delayed& installation)
{
    constexpr std::int64_t MicrosecondsPerMillisecond = 1000;
    const std::int64_t left = (installation.dueTime - GetUnixTime()) / MicrosecondsPerMillisecond;
    Install({installation.version, false, static_cast<std::uint64_t>(std::max<std::int64_t>(left, 0))},
            "zel-updated",
            [this](const RequestResult& result)
            {
                if (!result.IsOk())
                {
                    environment.status->SetMessage(
                        id, "The delayed installation could not be resumed. " + result.text, false);
                }
            });
}

void Component::Drop(EventLoop::Task done)
{
    life = Life::Dropping;
    start.Abandon();
    delayed.reset();
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
    }
    // While an installation waits for its time, RAUC has nothing to do with it.
    else if (life == Life::Ready && IsInstalling() && snapshot.nextStart == 0)
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
    const bool allowed = (life == Life::Initialized || life == Life::Ready) && !request && !IsInstalling();
    if (allowed && (state == RaucState::Busy || state == RaucState::Silent))
    {
        refreshTimer.Arm(RefreshRetry);
    }
    const bool versions = allowed && state == RaucState::Resting;
    const bool fallback = versions && fallbackWanted;
    // It stays the same as long as the process lives.
    const bool current = snapshot.currentVersion.empty();
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
    const std::int64_t now = GetUnixTime();
    const bool wasInstalling = snapshot.state == InstallationState::Installing;
    const bool isInstalling = status.record.state == InstallationState::Installing;
    const bool wasWaiting = snapshot.nextStart > now;
    ComponentSnapshot next = snapshot;
    next.state = status.record.state;
    next.message = EscapeControlCharacters(status.message);
    next.progress = status.progress;
    next.progressText = EscapeControlCharacters(status.progressText);
    next.revertible = status.record.revertible && moduleRevertible.value_or(true);
    next.lastVerdict = status.lastVerdict;
    next.lastVerdict.version = EscapeControlCharacters(next.lastVerdict.version);
    next.lastVerdict.reason = EscapeControlCharacters(next.lastVerdict.reason);
    next.nextStart = isInstalling && status.record.dueTime > now ? status.record.dueTime : 0;
    if (next.nextStart != 0)
    {
        delayTimer.Arm(std::chrono::microseconds(next.nextStart - now));
    }
    lastAnnouncement = std::chrono::steady_clock::now();
    const bool isNewVerdict = verdictKnown && next.lastVerdict != snapshot.lastVerdict;
    verdictKnown = true;
    Show(next);
    if (isNewVerdict && verdictHandler)
    {
        verdictHandler(snapshot.lastVerdict);
    }
    if (wasInstalling && !isInstalling && life == Life::Ready)
    {
        OnInstallationEnded(wasWaiting);
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

std::vector<HistoryEntry> Component::GetHistory(std::uint32_t limit) const
{
    return environment.status->GetHistory(id, limit);
}

} // namespace Zel::Host::Service

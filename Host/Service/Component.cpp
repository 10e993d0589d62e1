#include "Service/Component.h"

#include "Service/Clock.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;
using System::Commons::Diagnostics::Logging::LogLevel;

Component::Component(String id, Environment environment)
    : id(std::move(id)), environment(std::move(environment)),
      announcementTimer(this->environment.loop, [this] { UpdateStatus(); }),
      refreshTimer(this->environment.loop, [this] { Refresh(false, {}); }),
      startCheckTimer(this->environment.loop, [this] { CheckStart(); }),
      delayTimer(this->environment.loop, [this] { UpdateStatus(); }), worker("UpdateWorker")
{
    UpdateStatus();
}

Component::~Component()
{
    Stop();
}

void Component::Start(Completion done)
{
    life = Life::Starting;
    startDone = std::move(done);
    startDeadline = std::chrono::steady_clock::now() + StartPatience;
    CheckStart();
}

void Component::CheckStart()
{
    if (!IsInstalling())
    {
        Initialize();
        return;
    }
    environment.probe(
        [this](const RaucAnswer& answer)
        {
            if (life == Life::Starting)
            {
                Follow(Decide(answer));
            }
        });
}

StartGuard::Decision Component::Decide(const RaucAnswer& answer)
{
    const auto status = environment.status->GetComponentStatus(id);
    if (!status)
    {
        return {StartAction::Wait, "The status store has to tell whether an installation is running."};
    }
    if (answer.state == RaucState::Busy)
    {
        // Its time to come begins when it is done.
        startDeadline = std::chrono::steady_clock::now() + StartPatience;
    }
    StartFacts facts;
    facts.record = status->record;
    facts.bootId = environment.status->GetBootId();
    environment.status->ReadProperty(id, PersistentUpdaterStatus::InstallerSlotProperty, facts.installerSlot);
    facts.rauc = answer;
    facts.waitedLong = std::chrono::steady_clock::now() >= startDeadline;
    facts.now = GetUnixTime();
    return StartGuard::Decide(facts);
}

void Component::Follow(const StartGuard::Decision& decision)
{
    switch (decision.action)
    {
    case StartAction::Initialize:
        Initialize();
        break;
    case StartAction::Wait:
        environment.status->SetMessage(id, decision.reason, false);
        startCheckTimer.Arm(StartCheckInterval);
        environment.startDelayed(decision.reason);
        break;
    case StartAction::Restart:
        Log(LogLevel::Warning, "{0} It is restarted now.", decision.reason);
        environment.status->SetMessage(id, decision.reason + " It is restarted now.", false);
        life = Life::Stopped;
        environment.restartDevice();
        std::exchange(startDone, {})(RequestResult::Done());
        break;
    case StartAction::EndAsFailed:
        Log(LogLevel::Error, "{0} It has failed.", decision.reason);
        environment.status->SetMessage(id, decision.reason, false);
        environment.status->EndInstallation(id, false);
        if (IsInstalling())
        {
            // The store could not keep the end, and a module would decide what it must not.
            startCheckTimer.Arm(StartCheckInterval);
            break;
        }
        Initialize();
        break;
    }
}

void Component::Initialize()
{
    worker.Post(
        [this]
        {
            String failure;
            try
            {
                module = environment.createModule();
                module->Initialize(environment.settingsPath, environment.status);
            }
            catch (const std::exception& exception)
            {
                failure = exception.what();
                module.reset();
            }
            environment.loop.Post([this, failure] { OnInitialized(failure); });
        });
}

void Component::OnInitialized(const String& failure)
{
    if (life != Life::Starting)
    {
        // Dropped meanwhile, to be started again.
        return;
    }
    if (!failure.empty())
    {
        life = Life::Stopped;
        std::exchange(startDone, {})(RequestResult::FromCode(ResultCode::OperationFailed, failure));
        return;
    }
    life = Life::Ready;
    UpdateStatus();
    Refresh(true, [done = std::exchange(startDone, {})] { done(RequestResult::Done()); });
}

void Component::Drop(EventLoop::Task done)
{
    life = Life::Stopped;
    startCheckTimer.Disarm();
    worker.Post(
        [this, done = std::move(done)]
        {
            module.reset();
            environment.loop.Post(done);
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

void Component::OnRaucAppeared()
{
    Refresh(true, {});
}

void Component::Refresh(bool withFallback, EventLoop::Task done)
{
    refreshWanted = true;
    fallbackWanted = fallbackWanted || withFallback;
    environment.probe([this, done = std::move(done)](const RaucAnswer& answer)
                      { ReadPicture(answer.state, done); });
}

void Component::ReadPicture(RaucState state, const EventLoop::Task& done)
{
    // Later events ask again: the end of the request, of the installation, or the start.
    const bool allowed = life == Life::Ready && !request && !IsInstalling();
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
        [this, current, versions, fallback, done]
        {
            const ModulePicture picture = module ? AskModule(current, versions, fallback) : ModulePicture();
            environment.loop.Post(
                [this, picture, done]
                {
                    Apply(picture);
                    if (done)
                    {
                        done();
                    }
                });
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
    next.currentVersion = picture.currentVersion.value_or(next.currentVersion);
    next.pendingVersion = picture.pendingVersion.value_or(next.pendingVersion);
    next.fallbackVersion = picture.fallbackVersion.value_or(next.fallbackVersion);
    moduleRevertible = picture.revertible ? picture.revertible : moduleRevertible;
    Show(next);
    UpdateStatus();
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
    ComponentSnapshot next = snapshot;
    next.state = status.record.state;
    next.message = EscapeControlCharacters(status.message);
    next.progress = status.progress;
    next.progressText = EscapeControlCharacters(status.progressText);
    next.revertible = status.record.revertible && moduleRevertible.value_or(true);
    next.lastVerdict = status.lastVerdict.value_or(Verdict());
    next.lastVerdict.reason = EscapeControlCharacters(next.lastVerdict.reason);
    next.nextStart = isInstalling && status.record.dueTime > now ? status.record.dueTime : 0;
    if (next.nextStart != 0)
    {
        delayTimer.Arm(std::chrono::microseconds(next.nextStart - now));
    }
    lastAnnouncement = std::chrono::steady_clock::now();
    Show(next);
    if (wasInstalling && !isInstalling && life == Life::Ready)
    {
        Refresh(true, {});
    }
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

} // namespace Zel::Host::Service

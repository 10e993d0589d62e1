#include "Service/Component.h"

#include "Service/Clock.h"

#include "Zel/System/Commons/OutOfMemoryException.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using System::Commons::ArgumentException;
using System::Commons::OutOfMemoryException;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

const char* Describe(RaucState state)
{
    switch (state)
    {
    case RaucState::Busy:
        return "RAUC is busy.";
    case RaucState::Silent:
        return "RAUC does not answer.";
    case RaucState::Absent:
        return "RAUC is not running.";
    case RaucState::Resting:
        return "RAUC answers.";
    }
    return "";
}

} // namespace

Component::Component(String id, Environment environment)
    : id(std::move(id)), environment(std::move(environment)),
      announcementTimer(this->environment.loop, [this] { UpdateStatus(); }),
      refreshTimer(this->environment.loop, [this] { Refresh(false, {}); }),
      startTimer(this->environment.loop, [this] { UpdateStatus(); }), worker("UpdateWorker")
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
    worker.Post(
        [this, done = std::move(done)]
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
            environment.loop.Post([this, failure, done] { OnStarted(failure, done); });
        });
}

void Component::OnStarted(const String& failure, const Completion& done)
{
    if (!failure.empty())
    {
        life = Life::Stopped;
        done(RequestResult::FromCode(ResultCode::OperationFailed, failure));
        return;
    }
    life = Life::Ready;
    UpdateStatus();
    Refresh(true, [done] { done(RequestResult::Done()); });
}

void Component::Drop(EventLoop::Task done)
{
    life = Life::Stopped;
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

void Component::Stage(FileDescriptor bundle, const String& caller, Completion completion)
{
    if (Admit("stage a bundle", caller, completion) && CheckState(true))
    {
        const auto shared = std::make_shared<FileDescriptor>(std::move(bundle));
        WhenRaucRests([this, shared] { TakeBundle(shared); });
    }
}

void Component::Install(const InstallRequest& installRequest, const String& caller, Completion completion)
{
    if (!Admit("install", caller, completion) || !CheckState(false))
    {
        return;
    }
    if (installRequest.delay >= DelayLimit)
    {
        Finish(
            RequestResult::Refused(ToString(ResultCode::InvalidArgument),
                                   Format("The delay must be shorter than {0} milliseconds.", DelayLimit)));
        return;
    }
    WhenRaucRests(
        [this, installRequest]
        {
            constexpr std::int64_t microseconds = 1000; // in a millisecond
            const auto delay = static_cast<std::int64_t>(installRequest.delay);
            environment.status->SetDueTime(id, delay > 0 ? GetUnixTime() + delay * microseconds : 0);
            CallModule([installRequest](const ModuleCalls& calls) { return calls.Install(installRequest); },
                       [this](const RequestResult& result) { Finish(result); });
        });
}

void Component::Revert(const String& caller, Completion completion)
{
    if (Admit("revert", caller, completion) && CheckState(true))
    {
        WhenRaucRests(
            [this]
            {
                CallModule([](const ModuleCalls& calls) { return calls.Revert(); },
                           [this](const RequestResult& result) { Finish(result); });
            });
    }
}

void Component::Resume(const String& caller, Completion completion)
{
    if (Admit("resume", caller, completion))
    {
        CallModule([](const ModuleCalls& calls) { return calls.Resume(); },
                   [this](const RequestResult& result) { Finish(result); });
    }
}

bool Component::Admit(const char* what, const String& caller, const Completion& completion)
{
    if (life != Life::Ready)
    {
        completion(RequestResult::Refused(RequestResult::TryLater,
                                          "The updater is starting. Try again in a moment."));
        return false;
    }
    if (request)
    {
        completion(RequestResult::Refused(
            RequestResult::Busy,
            Format("The request of {0} to {1} is still under way. Try again when it is done.",
                   request->caller, request->what)));
        return false;
    }
    Log(LogLevel::Info, "Request of {0} to {1}.", caller, what);
    request = Request{what, caller, completion};
    return true;
}

bool Component::CheckState(bool failedToo)
{
    UpdateStatus();
    if (snapshot.state == InstallationState::Installing)
    {
        Finish(RequestResult::Refused(ToString(ResultCode::InvalidState),
                                      "An installation is in progress. Try again when it has ended."));
        return false;
    }
    if (snapshot.state == InstallationState::Failed && !failedToo)
    {
        Finish(RequestResult::Refused(
            ToString(ResultCode::InvalidState),
            "The last installation failed. Leave that state by 'resume', then install."));
        return false;
    }
    return true;
}

void Component::WhenRaucRests(EventLoop::Task next)
{
    environment.probe(
        [this, next = std::move(next)](RaucState state)
        {
            if (state == RaucState::Resting)
            {
                next();
                return;
            }
            Finish(
                RequestResult::Refused(RequestResult::TryLater,
                                       Format("{0} Nothing was changed; try again later.", Describe(state))));
        });
}

void Component::TakeBundle(const std::shared_ptr<FileDescriptor>& bundle)
{
    worker.Post(
        [this, bundle]
        {
            std::shared_ptr<DeliveredFile> file;
            const RequestResult result = Deliver(*bundle, file);
            environment.loop.Post(
                [this, result, file]
                {
                    if (!result.IsOk())
                    {
                        Finish(result);
                        return;
                    }
                    // The copy may have taken long.
                    WhenRaucRests([this, file] { HandOver(file); });
                });
        });
}

RequestResult Component::Deliver(const FileDescriptor& bundle, std::shared_ptr<DeliveredFile>& file) const
{
    try
    {
        file = environment.delivery.Take(bundle);
        return RequestResult::Done();
    }
    catch (const ArgumentException& exception)
    {
        return RequestResult::Refused(ToString(ResultCode::InvalidArgument), exception.GetMessage());
    }
    catch (const OutOfMemoryException& exception)
    {
        return RequestResult::FromCode(ResultCode::OutOfMemory, exception.GetMessage());
    }
    catch (const std::exception& exception)
    {
        Log(LogLevel::Error, "A bundle could not be taken over: {0}", exception.what());
        return RequestResult::FromCode(ResultCode::OperationFailed, exception.what());
    }
}

void Component::HandOver(const std::shared_ptr<DeliveredFile>& file)
{
    CallModule([file](const ModuleCalls& calls) { return calls.Stage(file->GetPath()); },
               [this](const RequestResult& result)
               {
                   if (result.IsOk())
                   {
                       ModulePicture picture;
                       picture.pendingVersion = result.text;
                       Apply(picture);
                   }
                   Finish(result);
               });
}

void Component::CallModule(ModuleCall call, Completion then)
{
    worker.Post(
        [this, call = std::move(call), then = std::move(then)]
        {
            const RequestResult result =
                module ? call(ModuleCalls(*module, id))
                       : RequestResult::Refused(RequestResult::TryLater, "The updater is starting.");
            environment.loop.Post([then, result] { then(result); });
        });
}

void Component::Finish(const RequestResult& result)
{
    UpdateStatus();
    const Request finished = *std::exchange(request, std::nullopt);
    if (!result.IsOk())
    {
        Log(LogLevel::Warning, "The request of {0} to {1} was refused ({2}): {3}", finished.caller,
            finished.what, result.error, result.text);
    }
    finished.completion(result);
    if (refreshWanted)
    {
        Refresh(false, {});
    }
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
    environment.probe([this, done = std::move(done)](RaucState state) { OnRefreshAllowed(state, done); });
}

void Component::OnRefreshAllowed(RaucState state, const EventLoop::Task& done)
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
            const ModulePicture picture = module ? ReadPicture(current, versions, fallback) : ModulePicture();
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

ModulePicture Component::ReadPicture(bool current, bool pending, bool fallback) const
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
    return snapshot.state == InstallationState::Installing;
}

void Component::UpdateStatus()
{
    const ComponentStatus status = environment.status->GetComponentStatus(id);
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
        startTimer.Arm(std::chrono::microseconds(next.nextStart - now));
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

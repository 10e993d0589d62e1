#include "Service/Clock.h"
#include "Service/Component.h"
#include "Service/ComponentAnswers.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using System::Commons::Diagnostics::Logging::EscapeControlCharacters;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

/// A module does not always pass on why RAUC refuses, and RAUC not always why it does.
constexpr const char* RejectedBundle =
    " RAUC takes no bundle that is damaged, or not signed or built for this device; a wrong clock, or a "
    "folder that it does not see, looks the same. 'zelupdate check FILE' tells more.";

} // namespace

void Component::Stage(FileDescriptor bundle, const String& caller, const Completion& completion)
{
    if (Admit("stage a bundle", caller, completion) && CheckState(true))
    {
        const auto shared = std::make_shared<FileDescriptor>(std::move(bundle));
        WhenRaucRests([this, shared] { TakeBundle(shared); });
    }
}

void Component::Install(const InstallRequest& installRequest, const String& caller,
                        const Completion& completion)
{
    if (!Admit("install", caller, completion) || !CheckState(false))
    {
        return;
    }
    if (installRequest.delay >= Api::DelayLimit)
    {
        Finish(RequestResult::Refused(
            ToString(ResultCode::InvalidArgument),
            Format("The delay must be shorter than {0} milliseconds.", Api::DelayLimit)));
        return;
    }
    if (const String fault = InstallationChecks::FindVersionFault(installRequest.version); !fault.empty())
    {
        Finish(RequestResult::Refused(ToString(ResultCode::InvalidArgument), fault));
        return;
    }
    WhenRaucRests(
        [this, installRequest]
        {
            if (installRequest.delay == 0 || environment.status->KeepForCallOff(id))
            {
                AskToInstall(installRequest, 0);
                return;
            }
            Finish(RequestResult::FromCode(ResultCode::OperationFailed, "The status store takes nothing."));
        });
}

void Component::AskToInstall(const InstallRequest& installRequest, std::int64_t dueTime)
{
    SetUpcoming(installRequest, dueTime);
    CallModule([installRequest](const ModuleCalls& calls) { return calls.Install(installRequest); },
               [this](const RequestResult& result) { Finish(result); });
}

void Component::SetUpcoming(const InstallRequest& installRequest, std::int64_t dueTime)
{
    const auto delay = static_cast<std::int64_t>(installRequest.delay);
    startTime = std::chrono::steady_clock::now() + std::chrono::milliseconds(delay);
    if (delay > 0)
    {
        delayTimer.Arm(std::chrono::milliseconds(delay));
    }
    if (dueTime == 0 && delay > 0)
    {
        dueTime = GetUnixTime() + delay * MicrosecondsPerMillisecond;
    }
    const bool fallback = installRequest.fallback;
    const String& offered = fallback ? GetSnapshot().fallbackVersion : GetSnapshot().pendingVersion;
    environment.status->SetUpcoming(id, {request->caller, fallback, GetSnapshot().currentVersion,
                                         installRequest.version.empty() ? offered : installRequest.version,
                                         dueTime, *startTime});
}

String Component::FindEarlierVersion() const
{
    const auto version = environment.status->FindEarlierVersion(id, GetSnapshot().currentVersion);
    return version.value_or(GetSnapshot().fallbackVersion);
}

void Component::Revert(const String& caller, const Completion& completion)
{
    if (Admit("revert", caller, completion) && CheckState(true))
    {
        WhenRaucRests(
            [this]
            {
                // A module starts an installation with an empty message, but a revert with what was before.
                environment.status->SetMessage(id, "", true);
                environment.status->SetUpcoming(
                    id, {request->caller, false, GetSnapshot().currentVersion, FindEarlierVersion(), 0, {}});
                CallModule([](const ModuleCalls& calls) { return calls.Revert(); },
                           [this](const RequestResult& result) { FinishRevert(result); });
            });
    }
}

void Component::FinishRevert(const RequestResult& result)
{
    if (result.IsOk() && !IsInstalling())
    {
        Finish(RequestResult::Refused(ToString(ResultCode::InvalidState),
                                      "The device runs from the slot that it would go back to. Nothing was "
                                      "changed; 'zelupdate versions' shows what runs."));
        return;
    }
    Finish(result);
    if (!result.IsOk() && IsInstalling() && life == Life::Ready)
    {
        // RAUC may have switched the slot all the same.
        Log(LogLevel::Warning, "The revert has not ended; how far it came is asked for now.");
        Drop([this] { Start(); });
    }
}

void Component::Resume(const String& caller, const Completion& completion)
{
    if (Admit("resume", caller, completion))
    {
        CallModule([](const ModuleCalls& calls) { return calls.Resume(); },
                   [this](const RequestResult& result)
                   {
                       if (result.IsOk())
                       {
                           // It tells why the installation failed, which the last verdict goes on to tell.
                           environment.status->SetMessage(id, "", false);
                       }
                       Finish(result);
                   });
    }
}

void Component::Cancel(const String& caller, const Completion& completion)
{
    if (!Admit("cancel", caller, completion))
    {
        return;
    }
    UpdateStatus();
    if (GetSnapshot().activity != Activity::Waiting)
    {
        Finish(RequestResult::Refused(ToString(ResultCode::InvalidState),
                                      GetSnapshot().state == InstallationState::Installing
                                          ? "The installation has started already. Let it end, then revert."
                                          : "There is no installation that waits for its time."));
        return;
    }
    Drop(
        [this]
        {
            // Its executor is gone: what RAUC was not asked for by now, it will not be asked for.
            if (record.IsSuspended() || (startTime && std::chrono::steady_clock::now() < *startTime))
            {
                FinishCancel(true);
                return;
            }
            environment.probe([this](const RaucAnswer& answer)
                              { FinishCancel(start.Decide(answer).action == StartAction::InstallAgain); });
        });
}

void Component::FinishCancel(bool notAsked)
{
    if (notAsked && CallOff())
    {
        resultAfterStart = RequestResult::Done();
    }
    else
    {
        Finish(RequestResult::Refused(
            ToString(ResultCode::InvalidState),
            notAsked
                ? "The status store could not keep that. Look at the service's log, and try again."
                : "The installation may have started meanwhile. Look at the state to see how far it came."));
    }
    Start();
}

bool Component::CallOff()
{
    const String reason = Format("Called off by {0}.", request->caller);
    const bool calledOff = environment.status->CallOff(id, reason);
    if (calledOff)
    {
        environment.status->SetMessage(id, reason, true);
        const std::vector<HistoryEntry> entries = GetHistory(1);
        if (!entries.empty())
        {
            view.Tell({Api::Result::CalledOff, EscapeControlCharacters(entries.front().to),
                       EscapeControlCharacters(reason), entries.front().ended});
        }
    }
    return calledOff;
}

bool Component::Admit(const char* what, const String& caller, const Completion& completion)
{
    if (life != Life::Ready)
    {
        UpdateStatus();
        ComponentSnapshot shown = GetSnapshot();
        if (shown.activity == Activity::Waiting)
        {
            // Nor can it be called off yet.
            shown.activity = Activity::Starting;
        }
        completion(
            RequestResult::Refused(RequestResult::TryLater, ComponentAnswers::DescribeProgress(shown)));
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
    if (GetSnapshot().state == InstallationState::Installing)
    {
        Finish(RequestResult::Refused(ToString(ResultCode::InvalidState),
                                      ComponentAnswers::DescribeProgress(GetSnapshot())));
        return false;
    }
    if (GetSnapshot().state == InstallationState::Failed && !failedToo)
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
        [this, next = std::move(next)](const RaucAnswer& answer)
        {
            if (answer.state == RaucState::Resting)
            {
                next();
                return;
            }
            RefuseUntilRaucRests(answer.state);
        });
}

void Component::RefuseUntilRaucRests(RaucState state)
{
    Finish(RequestResult::Refused(
        RequestResult::TryLater,
        Format("{0} Nothing was changed; try again later.",
               state == RaucState::Resting ? "RAUC has gone meanwhile." : Describe(state))));
}

void Component::TakeBundle(const std::shared_ptr<FileDescriptor>& bundle)
{
    module.Deliver(bundle,
                   [this](const RequestResult& result, const std::shared_ptr<DeliveredFile>& file)
                   {
                       if (!result.IsOk())
                       {
                           Finish(result);
                           return;
                       }
                       // The copy may have taken long.
                       WhenRaucRests([this, file] { HandOver(file); });
                   });
}

void Component::HandOver(const std::shared_ptr<DeliveredFile>& file)
{
    InspectionFacts facts;
    facts.rauc = RaucState::Resting;
    raucGone = false;
    environment.inspect(file->GetPath(), facts,
                        [this, file](const InspectionFacts& known)
                        {
                            const String version = known.bundle ? known.bundle->version : String();
                            const String fault = InstallationChecks::FindVersionFault(version);
                            if (known.rauc != RaucState::Resting)
                            {
                                module.Remove(file);
                                RefuseUntilRaucRests(known.rauc);
                            }
                            else if (!fault.empty())
                            {
                                module.Remove(file);
                                Finish(
                                    RequestResult::Refused(ToString(ResultCode::InvalidArgument),
                                                           fault + " Build the bundle with a shorter one."));
                            }
                            else
                            {
                                CallStage(file, known.bundle.has_value());
                            }
                        });
}

void Component::CallStage(const std::shared_ptr<DeliveredFile>& file, bool trusted)
{
    CallModule([file](const ModuleCalls& calls) { return calls.Stage(file->GetPath()); },
               [this, file, trusted](const RequestResult& result)
               {
                   module.Remove(file);
                   if (result.error == ToString(ResultCode::InvalidArgument))
                   {
                       FinishRejection(result, trusted);
                       return;
                   }
                   if (result.IsOk())
                   {
                       ModuleVersions versions;
                       versions.pendingVersion = result.text;
                       OnVersions(versions);
                   }
                   Finish(result);
               });
}

void Component::FinishRejection(const RequestResult& result, bool trusted)
{
    // To a module a RAUC that has gone and one that refuses are the same.
    environment.probe(
        [this, result, trusted](const RaucAnswer& answer)
        {
            if (raucGone || answer.state != RaucState::Resting)
            {
                RefuseUntilRaucRests(answer.state);
                return;
            }
            Finish(
                RequestResult::Refused(result.error, trusted ? result.text : result.text + RejectedBundle));
        });
}

void Component::CallModule(ModuleWorker::Call call, Completion then)
{
    module.Post(std::move(call),
                [this, then = std::move(then)](const RequestResult& result)
                {
                    // A module that refuses may have thrown a bundle away.
                    refreshWanted = refreshWanted || !result.IsOk();
                    then(result);
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
        Refresh(false);
    }
}

} // namespace Zel::Host::Service

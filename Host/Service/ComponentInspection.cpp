#include "Service/Clock.h"
#include "Service/Component.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using System::Core::Format;

void Component::Inspect(FileDescriptor bundle, const String& caller, const InspectionCompletion& completion)
{
    const auto inspection = std::make_shared<Inspection>();
    const auto answer = [completion, inspection](const RequestResult& result)
    { completion(result, *inspection); };
    if (Admit("inspect a bundle", caller, answer) && CheckState(true))
    {
        inspection->size = static_cast<std::uint64_t>(bundle.GetStatus().st_size);
        DeliverThen(
            std::make_shared<FileDescriptor>(std::move(bundle)),
            [this, inspection](const RequestResult& result, const std::shared_ptr<DeliveredFile>& file)
            { LookAt(file, result, inspection); });
    }
}

void Component::LookAt(const std::shared_ptr<DeliveredFile>& file, const RequestResult& delivery,
                       const std::shared_ptr<Inspection>& inspection)
{
    const bool noRoom = delivery.error == ToString(ResultCode::OutOfMemory);
    if (!delivery.IsOk() && !noRoom)
    {
        Finish(delivery);
        return;
    }
    InspectionFacts facts;
    facts.roomMissing = noRoom ? delivery.text : String();
    facts.runningVersion = snapshot.currentVersion;
    facts.pendingVersion = snapshot.pendingVersion;
    facts.state = snapshot.state;
    facts.now = GetUnixTime();
    environment.probe(
        [this, file, facts, inspection](const RaucAnswer& answer) mutable
        {
            facts.rauc = answer.state;
            environment.inspect(file ? file->GetPath() : String(), facts,
                                [this, file, inspection](const InspectionFacts& known)
                                {
                                    const RaucBundle bundle = known.bundle.value_or(RaucBundle());
                                    inspection->version = bundle.version;
                                    inspection->compatible = bundle.compatible;
                                    inspection->deviceCompatible = known.deviceCompatible;
                                    inspection->fits =
                                        known.bundle && bundle.compatible == known.deviceCompatible;
                                    inspection->checks = InstallationChecks::Judge(known);
                                    Finish(RequestResult::Done());
                                });
        });
}

void Component::Cancel(const String& caller, const Completion& completion)
{
    if (!Admit("cancel", caller, completion))
    {
        return;
    }
    UpdateStatus();
    if (snapshot.state != InstallationState::Installing || snapshot.nextStart == 0)
    {
        Finish(RequestResult::Refused(ToString(ResultCode::InvalidState),
                                      snapshot.state == InstallationState::Installing
                                          ? "The installation has started already. Let it end, then revert."
                                          : "There is no installation that waits for its time."));
        return;
    }
    Drop([this] { environment.probe([this](const RaucAnswer& answer) { CallOff(answer); }); });
}

void Component::CallOff(const RaucAnswer& answer)
{
    // Its executor is gone: what RAUC was not asked for by now, it will not be asked for.
    const StartGuard::Decision decision = start.Decide(answer);
    const String reason = Format("Called off by {0}.", request->caller);
    if (decision.action == StartAction::InstallAgain && environment.status->CallOff(id, reason))
    {
        environment.status->SetMessage(id, reason, true);
        resultAfterStart = RequestResult::Done();
    }
    else
    {
        Finish(RequestResult::Refused(
            ToString(ResultCode::InvalidState),
            "The installation may have started meanwhile. Look at the state to see how far it came."));
    }
    Start();
}

} // namespace Zel::Host::Service

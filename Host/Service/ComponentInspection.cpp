#include "Service/Clock.h"
#include "Service/Component.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::ResultCode;

void Component::Inspect(FileDescriptor bundle, const String& caller, const InspectionCompletion& completion)
{
    const auto inspection = std::make_shared<Inspection>();
    const auto answer = [completion, inspection](const RequestResult& result)
    { completion(result, *inspection); };
    if (Admit("inspect a bundle", caller, answer) && CheckState(true))
    {
        module.Deliver(
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
    if (file)
    {
        // The client's own file may lie where asking for it takes long.
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(file->GetPath(), error);
        inspection->size = error ? 0 : size;
    }
    InspectionFacts facts;
    facts.roomMissing = noRoom ? delivery.text : String();
    facts.runningVersion = GetSnapshot().currentVersion;
    facts.pendingVersion = GetSnapshot().pendingVersion;
    facts.state = GetSnapshot().state;
    facts.now = GetUnixTime();
    environment.probe(
        [this, file, facts, inspection](const RaucAnswer& answer) mutable
        {
            facts.rauc = answer.state;
            facts.primarySlot = answer.primarySlot;
            environment.inspect(file ? file->GetPath() : String(), facts,
                                [this, file, inspection](const InspectionFacts& known)
                                {
                                    module.Remove(file);
                                    const RaucBundle bundle = known.bundle.value_or(RaucBundle());
                                    inspection->version = bundle.version;
                                    inspection->compatible = bundle.compatible;
                                    inspection->deviceCompatible = known.deviceCompatible;
                                    if (!known.refusal.empty() || !known.deviceCompatible.empty())
                                    {
                                        inspection->fits =
                                            known.bundle && bundle.compatible == known.deviceCompatible;
                                    }
                                    inspection->checks = InstallationChecks::Judge(known);
                                    Finish(RequestResult::Done());
                                });
        });
}

} // namespace Zel::Host::Service

#include "RaucUpdater/Internal/DesktopBus/RaucGetSlotStatusMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <algorithm>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucGetSlotStatusMethod::RaucGetSlotStatusMethod() = default;

RaucGetSlotStatusMethod::~RaucGetSlotStatusMethod() = default;

bool RaucGetSlotStatusMethod::ReadFields(const std::vector<DesktopBusField>& fields)
{
    const DesktopBusFieldReader reader(GetLogger(), fields);
    const auto* slots = fields.empty() ? nullptr : fields.front().PeekArray();
    if (slots == nullptr)
    {
        return reader.Fail("Failed to enter array. Fields: {0}");
    }
    return std::ranges::all_of(*slots, [&](const DesktopBusField& slot) { return ReadSlot(reader, slot); });
}

bool RaucGetSlotStatusMethod::ReadSlot(const DesktopBusFieldReader& reader, const DesktopBusField& field)
{
    const auto* members = field.PeekStruct();
    if (members == nullptr || members->empty())
    {
        return reader.Fail("Failed to enter struct. Fields: {0}");
    }
    const auto* slotName = members->front().PeekString();
    if (slotName == nullptr)
    {
        return false;
    }
    Log(LogLevel::Debug, "slotName={0}", *slotName);
    RaucSlotStatus status;
    if (members->size() < 2 || !status.ReadFields({&(*members)[1], 1}))
    {
        return false;
    }
    slotStatus.emplace(*slotName, std::move(status));
    return true;
}

bool RaucGetSlotStatusMethod::SendMessageWithReply(const DesktopBusConnection& connection,
                                                   DesktopBusMessage& reply)
{
    return SendRequest(GetLogger(),
                       {nullptr, "Queue rauc GetSlotStatus message.", "Get rauc GetSlotStatus reply."},
                       DesktopBusManager::CreateRaucMessage(MethodName), nullptr, connection, reply);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

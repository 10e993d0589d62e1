#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetPrimaryMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetSlotStatusMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInfoMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallBundleMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucMarkMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucOperationProperty.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

DesktopBusManager::DesktopBusManager() = default;

DesktopBusManager::~DesktopBusManager()
{
    Close();
}

bool DesktopBusManager::Open()
{
    return connection.Open();
}

void DesktopBusManager::Close()
{
    connection.Close();
}

DesktopBusMessage DesktopBusManager::CreateRaucMessage(const String& methodName)
{
    return DesktopBusMessage(DesktopBusDestinationRauc, DesktopBusObjectPathRauc, DesktopBusInterfaceRauc,
                             methodName);
}

bool DesktopBusManager::Install(const String& bundle) const
{
    // Alone without the guard: without a connection the call fails by itself.
    return RaucInstallBundleMethod(bundle, false).SendMessage(connection, true);
}

bool DesktopBusManager::GetVersion(const String& bundle, String& version, String& compatible)
{
    RaucInfoMethod info(bundle);
    if (!Call(info))
    {
        return false;
    }
    version = info.GetVersion();
    compatible = info.GetCompatible();
    return true;
}

bool DesktopBusManager::GetPrimarySlot(String& slotName) const
{
    return CallForText<RaucGetPrimaryMethod>(&RaucGetPrimaryMethod::GetPrimary, slotName);
}

bool DesktopBusManager::GetSlot(const SlotPredicate& predicate, String& slotName,
                                RaucSlotStatus& status) const
{
    RaucGetSlotStatusMethod getSlotStatus;
    if (!Call(getSlotStatus))
    {
        return false;
    }
    for (const auto& [name, candidate] : getSlotStatus.GetSlotStatus())
    {
        if (predicate(candidate))
        {
            slotName = name;
            status = candidate;
            return true;
        }
    }
    return false;
}

bool DesktopBusManager::GetBootedSlot(String& slotName, String& version, String& sha256)
{
    return GetSlotBundle([](const RaucSlotStatus& slot)
                         { return slot.GetState() == RaucSlotStatus::StateBooted; },
                         slotName, version, sha256);
}

bool DesktopBusManager::GetOtherValidSlot(String& slotName, String& version, String& sha256)
{
    const auto isFallback = [](const RaucSlotStatus& slot)
    {
        return slot.GetState() == RaucSlotStatus::StateInactive &&
               slot.GetBootStatus() == RaucSlotStatus::BootStatusGood &&
               slot.GetStatus() == RaucSlotStatus::StatusOk;
    };
    return GetSlotBundle(isFallback, slotName, version, sha256);
}

bool DesktopBusManager::GetSlotBundle(const SlotPredicate& predicate, String& slotName, String& version,
                                      String& sha256) const
{
    RaucSlotStatus status;
    if (!GetSlot(predicate, slotName, status))
    {
        return false;
    }
    version = status.GetBundleVersion();
    sha256 = status.GetSha256();
    return true;
}

bool DesktopBusManager::SwitchSlot(const String& slotName) const
{
    RaucMarkMethod mark("active", slotName);
    return Call(mark);
}

bool DesktopBusManager::CanInstall() const
{
    RaucOperationProperty operation;
    return Call(operation) && operation.IsIdle();
}

bool DesktopBusManager::GetCompatible(String& compatible) const
{
    return CallForText<RaucCompatibleProperty>(&RaucCompatibleProperty::GetCompatible, compatible);
}

bool DesktopBusManager::Call(DesktopBusMethod& method) const
{
    if (!connection.IsSet())
    {
        Log(LogLevel::Error, "D-BUS connection is not established.");
        return false;
    }
    return method.SendMessage(connection, true);
}

template <typename Method>
bool DesktopBusManager::CallForText(const String& (Method::*getText)() const noexcept, String& text) const
{
    Method method;
    if (!Call(method))
    {
        return false;
    }
    text = (method.*getText)();
    return true;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

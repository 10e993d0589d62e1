#include "RaucUpdater/Internal/VersionManager.h"

#include <mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

using System::Commons::Diagnostics::Logging::LogLevel;

VersionManager::Slot VersionManager::GetKnown(const Slot& slot) const
{
    const std::lock_guard lock(slotMutex);
    return slot;
}

bool VersionManager::GetBootedSlot(String& slotName, String& bundleVersion)
{
    Slot slot = GetKnown(bootedSlot);
    String sha256;
    if (!slot.known && desktopBusManager &&
        desktopBusManager->GetBootedSlot(slot.name, slot.bundleVersion, sha256))
    {
        slot.known = true;
        const std::lock_guard lock(slotMutex);
        bootedSlot = slot;
    }
    slotName = slot.name;
    bundleVersion = slot.bundleVersion;
    return slot.known;
}

bool VersionManager::GetPrimarySlot(String& slotName)
{
    Slot slot = GetKnown(primarySlot);
    if (!slot.known && desktopBusManager && desktopBusManager->GetPrimarySlot(slot.name))
    {
        slot.known = true;
        const std::lock_guard lock(slotMutex);
        primarySlot = slot;
    }
    slotName = slot.name;
    return slot.known;
}

bool VersionManager::GetBootedOrPrimarySlot(String& slotName)
{
    if (const Slot booted = GetKnown(bootedSlot); booted.known)
    {
        slotName = booted.name;
        return true;
    }
    if (fallbackOnPrimary)
    {
        if (const Slot primary = GetKnown(primarySlot); primary.known)
        {
            slotName = primary.name;
            return true;
        }
    }
    String bundleVersion;
    if (GetBootedSlot(slotName, bundleVersion))
    {
        return true;
    }
    return fallbackOnPrimary && GetPrimarySlot(slotName);
}

bool VersionManager::GetBootedOrPrimarySlotAndUpdateStatus(String& slotName)
{
    const bool known = GetBootedOrPrimarySlot(slotName);
    if (!known)
    {
        const String message = fallbackOnPrimary ? "Failed to get neither booted nor primary slot."
                                                 : "Failed to get booted slot.";
        Log(validateBootedSlot ? LogLevel::Error : LogLevel::Warning, "{0}", message);
        updaterStatus->SetMessage(raucComponentId, message, false);
    }
    if (updaterStatus->WriteProperty(raucComponentId, PropertyInstallerSlotName, slotName, true))
    {
        return known;
    }
    if (validateBootedSlot)
    {
        updaterStatus->SetMessage(raucComponentId, "Failed to save booted slot name.", false);
    }
    return false;
}

VersionManager::ResultCode VersionManager::SaveVersionInfo(const SoftwareVersionType& target)
{
    if (!updaterStatus->WriteProperty(raucComponentId, PropertyTargetSoftwareRevision,
                                      target.softwareRevision.ToString(), true))
    {
        return ResultCode::OperationFailed;
    }
    String slotName;
    if (!GetBootedOrPrimarySlotAndUpdateStatus(slotName))
    {
        if (validateBootedSlot)
        {
            return ResultCode::OperationFailed;
        }
        if (!AllowUnknownSlot())
        {
            return ResultCode::BootedSlotUnavailable;
        }
    }
    SoftwareVersionType current;
    if (GetSoftwareVersion(SoftwareVersionFileType::Current, current) != ResultCode::Ok ||
        current.softwareRevision == target.softwareRevision)
    {
        Log(LogLevel::Warning, "The updater won't be able to verify that the installation is successful if "
                               "the current version and target version are equal.");
    }
    return ResultCode::Ok;
}

bool VersionManager::AllowUnknownSlot() const
{
    if (updaterStatus->GetConfirmationTimeout(raucComponentId) == 0)
    {
        return true;
    }
    const String message = "Booted slot is not available. ConfirmationTimeout must be set to 0 to proceed "
                           "with the installation.";
    Log(LogLevel::Error, "{0}", message);
    updaterStatus->SetMessage(raucComponentId, message, false);
    return false;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal

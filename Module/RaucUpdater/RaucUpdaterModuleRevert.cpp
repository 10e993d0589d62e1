#include "RaucUpdater/RaucUpdaterModule.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::LogLevel;

RaucUpdaterModule::ResultCode RaucUpdaterModule::RevertInstall(const String& componentId)
{
    return CatchAll("RevertInstall", [&] { return Revert(componentId); });
}

// Three of the texts below have no full stop; it is meant.
RaucUpdaterModule::ResultCode RaucUpdaterModule::Revert(const String& componentId)
{
    Log(LogLevel::Info, "{0}", "RevertInstall");
    if (!ValidateComponentId(componentId))
    {
        return ResultCode::InvalidArgument;
    }
    SoftwareUpdateStatus status;
    if (!TryGetStatus(componentId, status))
    {
        return ResultCode::GeneralError;
    }
    if (status.state == InstallationState::Installing)
    {
        Log(LogLevel::Error, "RAUC installation cannot be reverted. Installation is still in progress.");
        return ResultCode::InvalidState;
    }
    const String installer = ReadProperty(componentId, VersionManager::PropertyInstallerSlotName);
    if (installer.empty())
    {
        Log(LogLevel::Error, "Unable to get installer slot name properties.");
        return ResultCode::InvalidState;
    }
    String slot;
    if (const ResultCode result = GetRunningSlot(slot); result != ResultCode::Ok)
    {
        return result;
    }
    if (ReadProperty(componentId, VersionManager::PropertyRevertedTo) == installer)
    {
        Log(LogLevel::Info, "The device has already been reverted to the installer slot '{0}'", installer);
        return ResultCode::AlreadyReverted;
    }
    if (installer == slot)
    {
        Log(LogLevel::Warning, "The device is still on the installer slot '{0}'", installer);
        return ResultCode::Ok;
    }
    Log(LogLevel::Warning, "Going to switch back from slot '{0}' to '{1}'", slot, installer);
    return SwitchBack(componentId, status, installer);
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::GetRunningSlot(String& slot)
{
    if (!versionManager.GetBootedOrPrimarySlot(slot))
    {
        Log(LogLevel::Error, "{0}",
            settings.FallbackOnPrimary() ? "Failed to get booted as well as primary slot."
                                         : "Failed to get booted slot.");
        return ResultCode::GeneralError;
    }
    if (slot.empty())
    {
        Log(LogLevel::Error, "Slot name is unknown.");
        return ResultCode::GeneralError;
    }
    return ResultCode::Ok;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::SwitchBack(const String& componentId,
                                                            const SoftwareUpdateStatus& status,
                                                            const String& installer) const
{
    if (status.state == InstallationState::Failed)
    {
        Log(LogLevel::Error, "Installation Error - UpdateStatus: {0}", status.message.GetView());
        if (!updaterStatus->ResumeInstallation(componentId))
        {
            return ResultCode::GeneralError;
        }
    }
    if (!updaterStatus->BeginInstallation(componentId, false))
    {
        Log(LogLevel::Error, "Failed to switch installation state to Installing.");
        return ResultCode::GeneralError;
    }
    if (!desktopBusManager->SwitchSlot(installer))
    {
        // The state stays installing on purpose: the next start completes it.
        Log(LogLevel::Error, "Failed to switch to slot {0}.", installer);
        return ResultCode::GeneralError;
    }
    if (!updaterStatus->WriteProperty(componentId, VersionManager::PropertyRevertedTo, installer, true))
    {
        Log(LogLevel::Error, "Failed to write PropertyRevertedTo.");
    }
    return Reboot(false);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

#include "RaucUpdater/RaucUpdaterModule.h"

#include "RaucUpdater/Internal/Security/SecurityNotifications.h"
#include "Zel/Exception.h"
#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/Threading/Thread.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Internal::Security::SecurityNotifications;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::File;
using System::Commons::Threading::Thread;
using System::Core::Format;

namespace
{

/// Leaves the service time to publish the status before the device goes down; milliseconds.
constexpr unsigned int RebootDelay = 3000;

} // namespace

RaucUpdaterModule::ResultCode RaucUpdaterModule::Reboot(bool writeMessage) const
{
    const String message = deviceControlService
                               ? "The device is going to reboot."
                               : "Failed to reboot device. The restart must be triggered manually.";
    if (deviceControlService)
    {
        Log(LogLevel::Info, "{0}", message);
    }
    else
    {
        Log(LogLevel::Error, "IDeviceControlService is missing. {0}", message);
    }
    if (writeMessage)
    {
        updaterStatus->SetMessage(GetComponentId(), message, false);
    }
    if (!deviceControlService)
    {
        return ResultCode::OperationFailed;
    }
    Thread::Sleep(RebootDelay);
    deviceControlService->RestartDevice();
    return ResultCode::Ok;
}

void RaucUpdaterModule::CompleteInstallation()
{
    Log(LogLevel::Debug, "{0}", "CompleteInstallation");
    const bool succeeded = DecideInstallation();
    DeletePendingImage();
    updaterStatus->EndInstallation(GetComponentId(), succeeded);
}

bool RaucUpdaterModule::DecideInstallation()
{
    String target;
    if (!CompleteInstallationLoadTargetVersion(target))
    {
        return false;
    }
    String slot;
    String version;
    if (CompleteInstallationLoadCurrentVersion(slot, version))
    {
        return CompleteInstallationCompare(target, slot, version);
    }
    // No status message here, unlike everywhere else; it is meant.
    const String message = "Failed to get the system info for a successful completion.";
    Log(LogLevel::Error, "{}: {}", "CompleteInstallation", message);
    SecurityNotifications::SendInstallationFailedNotification(target, message);
    return false;
}

void RaucUpdaterModule::DeletePendingImage() const
{
    const String& path = settings.GetPendingUpdatePath();
    if (!File::Exists(path))
    {
        return;
    }
    Log(LogLevel::Info, "Deleting pending firmware image {0}", path);
    try
    {
        File::Delete(path);
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Error, "Failed to delete installed firmware file. {0}", exception.ToString());
    }
}

bool RaucUpdaterModule::CompleteInstallationLoadTargetVersion(String& target) const
{
    static const String Message = "Failed to load target software revision.";
    static const String UnknownVersion = "unknown";

    target = ReadProperty(GetComponentId(), VersionManager::PropertyTargetSoftwareRevision);
    if (!target.empty())
    {
        return true;
    }
    updaterStatus->SetMessage(GetComponentId(), Message, false);
    SecurityNotifications::SendInstallationFailedNotification(UnknownVersion, Message);
    return false;
}

bool RaucUpdaterModule::CompleteInstallationLoadCurrentVersion(String& slot, String& version)
{
    if (versionManager.GetBootedSlot(slot, version))
    {
        if (!version.empty())
        {
            return true;
        }
    }
    else if (!versionManager.GetPrimarySlot(slot))
    {
        return false;
    }
    SoftwareVersionType current;
    if (versionManager.GetSoftwareVersion(SoftwareVersionFileType::Current, current) != ResultCode::Ok)
    {
        return false;
    }
    version = current.softwareRevision.ToString();
    return true;
}

bool RaucUpdaterModule::CompleteInstallationCompare(const String& target, const String& slot,
                                                    const String& version) const
{
    String message;
    if (IsVersionInstalled(target, slot, version, message))
    {
        SecurityNotifications::SendInstallationSucceededNotification(version);
        return true;
    }
    updaterStatus->SetMessage(GetComponentId(), message, false);
    SecurityNotifications::SendInstallationFailedNotification(version, message);
    return false;
}

bool RaucUpdaterModule::IsVersionInstalled(const String& target, const String& slot, const String& version,
                                           String& message) const
{
    const String installer = ReadProperty(GetComponentId(), VersionManager::PropertyInstallerSlotName);
    const String revertedTo = ReadProperty(GetComponentId(), VersionManager::PropertyRevertedTo);
    const bool reverted = revertedTo == installer;
    message = Format("Expected version is '{0}'. Current version is '{1}'.", target, version);
    const String switchedBack =
        Format("Confirm has not been sent. Device switched back to slot '{0}'. {1}", slot, message);
    if (version != target)
    {
        if (reverted && installer == slot)
        {
            message = switchedBack;
        }
        Log(LogLevel::Error, "{0}", message);
        return false;
    }
    Log(LogLevel::Info, "{0}", message);
    if (installer != slot)
    {
        return true;
    }
    if (reverted)
    {
        // A warning here and an error above, for one text; both levels are meant.
        message = switchedBack;
        Log(LogLevel::Warning, "{0}", message);
    }
    else
    {
        message = Format("The device did not boot the other slot and is still on slot '{0}'.", slot);
        Log(LogLevel::Error, "{0}", message);
    }
    return false;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

#pragma once

#include "Bus/RaucUpdater/Journey.h"

/// Pieces of what journeys tell.
namespace Zel::Tests
{

inline Lines operator+(Lines first, const Lines& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline String Mismatch(const String& target, const String& running)
{
    return "Expected version is '" + target + "'. Current version is '" + running + "'.";
}

inline String FailedNotification(const String& version, const String& reason)
{
    return "Error Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed (Software Update): "
           "Failed to install firmware package (version: " +
           version + "). Reason: " + reason + ".";
}

inline Lines Staged(const String& version)
{
    return {"info VersionManager: Verify pending version.",
            "info VersionManager: The pending version '" + version + "' is accepted."};
}

/// An installation is begun, up to the order to RAUC, or the first `count` lines of it.
inline Lines Begun(const String& target, const String& running, const String& slot, std::size_t count = 9)
{
    Lines lines = {"SetMessage new ''",
                   "WriteProperty TargetSoftwareRevision=",
                   "WriteProperty InstallerSlotName=",
                   "WriteProperty RevertedTo=",
                   "BeginInstallation installation",
                   "debug: Installing...",
                   "WriteProperty TargetSoftwareRevision=" + target,
                   "WriteProperty InstallerSlotName=" + slot,
                   "info: Updating from version '" + running + "' to version '" + target + "'."};
    lines.resize(count);
    return lines;
}

/// The same, up to the wait of a delayed installation and its end.
inline Lines BegunLater(const String& target, const String& running, const String& fileType)
{
    return Begun(target, running, "rootfs.0", 8) + Lines{"info: The " + fileType + " version " + target +
                                                             " is going to be installed at 20*-*-*T*:*:*.",
                                                         "debug: Start delayed installation.",
                                                         Begun(target, running, "").back()};
}

/// RAUC was ordered to install the pending version, and tells of it.
inline Lines Installing(const String& progress = "100%: Installing done.")
{
    return {"info: The pending version will be installed.", "progress " + progress};
}

inline Lines NoPackage(const String& version)
{
    const String text =
        "There is not a software package with software revision '" + version + "' and patch identifiers ''. ";
    return {"warning VersionManager: Failed to read fallback version. Maybe there is no other valid slot. "
            "Attempt: 1",
            "SetMessage new '" + text + "'", "error: " + text};
}

/// The installation is complete, and the device restarts.
inline Lines Rebooted()
{
    return {"info: The device is going to reboot.", "SetMessage 'The device is going to reboot.'",
            "RestartDevice", "-- restart"};
}

/// The pending bundle is deleted, if there was one.
inline Lines DeletedIf(bool isPending)
{
    return isPending ? Lines{"info: Deleting pending firmware image ~/pending.raucb"} : Lines{};
}

/// The verdict after the restart.
inline Lines Confirmed(const String& version, bool isPending = true)
{
    return Lines{"debug: CompleteInstallation", "info: " + Mismatch(version, version),
                 "Information Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Succeeded "
                 "(Software Update): Installation of firmware package (version: " +
                     version + ") successful."} +
           DeletedIf(isPending) + Lines{"EndInstallation succeeded"};
}

/// The same, with the reason why not.
inline Lines Denied(const String& version, const String& reason, bool isPending = true)
{
    return Lines{"SetMessage '" + reason + "'", FailedNotification(version, reason)} + DeletedIf(isPending) +
           Lines{"EndInstallation failed"};
}

/// The fallback is installed, through the restart.
inline Lines FellBack(const String& target, const String& running, const String& slot)
{
    return Begun(target, running, slot) + Lines{"info: The fallback version will be installed."} +
           Rebooted() + Confirmed(target, false);
}

/// Everything of `Update`.
inline Lines Updated(const String& target, const String& running, const String& slot)
{
    return Staged(target) + Begun(target, running, slot) + Installing() +
           Lines{"info: Installation HasCompleted=true"} + Rebooted() + Confirmed(target);
}

/// The row of a module that finds no service to restart the device.
inline Journey WithoutDeviceControl(Journey row)
{
    row.before.push_back([](auto& run) { run.platform.Register(run.platform.deviceInfo, nullptr); });
    row.story.insert(row.story.begin(), "error: Failed to subscribe to IDeviceControlService.");
    return row;
}

} // namespace Zel::Tests

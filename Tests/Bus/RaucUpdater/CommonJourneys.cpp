#include "Bus/RaucUpdater/Journey.h"

#include <filesystem>

namespace Zel::Tests
{

namespace
{

const String VerifyFailed = "The verification of the software package failed.";
const String SwitchedBack = "Confirm has not been sent. Device switched back to slot 'rootfs.0'. ";
/// Two properties that the module does not know.
const String RaucStarted = "error DesktopBusConnection: Failed to notify PropertiesChangedSignal";
const String ServiceUnknown =
    "ServiceUnknown - The name de.pengutronix.rauc was not provided by any .service files";
const Lines NoInfo = {"info VersionManager: Verify pending version.", "error DesktopBusMethod: Error: *",
                      "error VersionManager: " + VerifyFailed};

Lines NoPackage(const String& version)
{
    const String text =
        "There is not a software package with software revision '" + version + "' and patch identifiers ''. ";
    return {"warning VersionManager: Failed to read fallback version. Maybe there is no other valid slot. "
            "Attempt: 1",
            "SetMessage new '" + text + "'", "error: " + text};
}

/// The verdict on the old version.
Lines CameBack(const String& reason, bool isPending = true)
{
    return Lines{"debug: CompleteInstallation", "error: " + reason} + Denied("1.0.0.0", reason, isPending);
}

/// A fallback, through the restart.
Lines FellBack(const String& target, const String& running, const String& slot)
{
    return Begun(target, running, slot) + FallingBack() + Rebooted() + Confirmed(target, false);
}

/// An installation of 2.0.0.0 that ends because no slot is known.
Lines NothingBegun(const String& refusal)
{
    const String error = "error DesktopBusMethod: Error: *" + refusal;
    auto lines = Begun("2.0.0.0", "", "");
    lines.resize(7);
    return lines + Lines{error,
                         error,
                         "error VersionManager: Failed to get neither booted nor primary slot.",
                         "SetMessage 'Failed to get neither booted nor primary slot.'",
                         "WriteProperty InstallerSlotName=",
                         "EndInstallation failed"};
}

std::vector<Journey> Forward()
{
    return {
        {.name = "UpdateIsConfirmed",
         .steps = {Stage("2.0.0.0"), Ask(FileType::Pending, "2.0.0.0"), Install("2.0.0.0"), Restart(),
                   Ask(FileType::Pending, "", ResultCode::NotFound)},
         .story = Updated("2.0.0.0", "1.0.0.0", "rootfs.0"),
         .revertible = true,
         .running = "2.0.0.0",
         .primary = "rootfs.1"},
        {.name = "DeviceComesBackOnTheOldSlot",
         .steps = {Stage("2.0.0.0"), Install("2.0.0.0"), Restart(true)},
         .story = Staged("2.0.0.0") + Begun("2.0.0.0", "1.0.0.0", "rootfs.0") + Installing() +
                  Lines{"info: Installation HasCompleted=true"} + Rebooted() +
                  CameBack(Mismatch("2.0.0.0", "1.0.0.0")),
         .state = InstallationState::Failed,
         .running = "1.0.0.0"},
        {.name = "DelayedUpdateCountsDownAndRefusesAllElse",
         .steps = {Stage("2.0.0.0"), Install("2.0.0.0", ResultCode::Ok, 2900),
                   Install("2.0.0.0", ResultCode::InvalidState),
                   Stage("3.0.0.0", {}, ResultCode::InvalidState, "Installation is in progress."),
                   Revert(ResultCode::InvalidState), Restart()},
         .story = Staged("2.0.0.0") + DelayedBegin("2.0.0.0", "rootfs.0") +
                  Lines{"debug: Invalid state Installing", "info: RevertInstall",
                        "error: RAUC installation cannot be reverted. Installation is still in progress.",
                        "SetMessage 'The version 2.0.0.0 is going to be installed in 1 seconds.'",
                        "debug: Start delayed installation.",
                        "info: Updating from version '1.0.0.0' to version '2.0.0.0'."} +
                  Installing() + Lines{"info: Installation HasCompleted=true"} + Rebooted() +
                  Confirmed("2.0.0.0"),
         .revertible = true,
         .running = "2.0.0.0",
         .primary = "rootfs.1"},
        {.name = "ForeignInstallationKeepsRaucBusy",
         .steps = {Stage("2.0.0.0"), Device("busy"), Install("2.0.0.0", ResultCode::OperationFailed),
                   Device("rest"), Resume(), Update("3.0.0.0")},
         .story = Staged("2.0.0.0") + NothingBegun("already processing a different method") +
                  Lines{"info: Resuming (from Installing)...", "ResumeInstallation"} +
                  Updated("3.0.0.0", "1.0.0.0", "rootfs.0"),
         .revertible = true,
         .running = "3.0.0.0",
         .primary = "rootfs.1"},
    };
}

std::vector<Journey> Backward()
{
    const auto updates =
        Updated("2.0.0.0", "1.0.0.0", "rootfs.0") + Updated("3.0.0.0", "2.0.0.0", "rootfs.1");
    return {
        {.name = "FallbackThereAndBack",
         .steps = {Update("2.0.0.0"), Update("3.0.0.0"), Ask(FileType::Fallback, "2.0.0.0"),
                   Install("2.0.0.0"), Restart(), Ask(FileType::Fallback, "3.0.0.0"), Install("3.0.0.0"),
                   Restart()},
         .story = updates + FellBack("2.0.0.0", "3.0.0.0", "rootfs.0") +
                  FellBack("3.0.0.0", "2.0.0.0", "rootfs.1"),
         .revertible = true,
         .running = "3.0.0.0"},
        {.name = "NoFallbackThatRaucNeverWrote",
         .steps = {Update("2.0.0.0"), Install("1.0.0.0", ResultCode::NotFound)},
         .story =
             Updated("2.0.0.0", "1.0.0.0", "rootfs.0") + Lines{"SetMessage new ''"} + NoPackage("1.0.0.0"),
         .revertible = true,
         .running = "2.0.0.0",
         .primary = "rootfs.1"},
        {.name = "RevertAndRevertAgain",
         .steps = {Update("2.0.0.0"), Revertible(true), Revert(), Restart(), Revertible(false),
                   Revert(ResultCode::AlreadyReverted), Resume(), Update("2.0.0.0")},
         .story =
             Updated("2.0.0.0", "1.0.0.0", "rootfs.0") +
             Lines{"info: RevertInstall", "warning: Going to switch back from slot 'rootfs.1' to 'rootfs.0'",
                   "BeginInstallation revert", "WriteProperty RevertedTo=rootfs.0",
                   "info: The device is going to reboot.", "RestartDevice", "-- restart"} +
             CameBack(SwitchedBack + Mismatch("2.0.0.0", "1.0.0.0"), false) +
             Lines{"info: RevertInstall",
                   "info: The device has already been reverted to the installer slot 'rootfs.0'",
                   "info: Resuming (from Installing)...", "ResumeInstallation"} +
             Updated("2.0.0.0", "1.0.0.0", "rootfs.0"),
         .revertible = true,
         .running = "2.0.0.0",
         .primary = "rootfs.1"},
    };
}

std::vector<Journey> Failed()
{
    return {
        {.name = "SlotIsTooSmall",
         .steps = {Stage("2.0.0.0", {"--image-size", "12582912"}), Install("2.0.0.0"),
                   Await("EndInstallation failed"), Install("2.0.0.0", ResultCode::InvalidState)},
         .story = Staged("2.0.0.0") + Begun("2.0.0.0", "1.0.0.0", "rootfs.0") +
                  Installing("100%: Installing failed.") +
                  Broken("Installation error: Failed updating slot rootfs.1: *") +
                  Lines{"debug: Invalid state Failed"},
         .state = InstallationState::Failed,
         .running = "1.0.0.0",
         .pending = true},
        {.name = "PostInstallHandlerFailsAfterTheSlotWasActivated",
         .steps = {Stage("2.0.0.0", {"--post-install-fails"}), Install("2.0.0.0"),
                   Await("EndInstallation failed")},
         .story = Staged("2.0.0.0") + Begun("2.0.0.0", "1.0.0.0", "rootfs.0") +
                  Installing("100%: Installing failed.") + Broken("Post-install handler error: *"),
         .state = InstallationState::Failed,
         .running = "1.0.0.0",
         .primary = "rootfs.1",
         .pending = true},
        {.name = "RaucIsKilledAtCopyingImage",
         .steps = {Stage("2.0.0.0", {"--held"}), Install("2.0.0.0"), Device("wait-held", {"10"}), Settle(),
                   Device("rauc-stop", {"--kill"}), Install("2.0.0.0", ResultCode::InvalidState),
                   Device("rauc-start"), Settle(), [](JourneyRun& run) { run.Restart(); }},
         .story = Staged("2.0.0.0") + Begun("2.0.0.0", "1.0.0.0", "rootfs.0") +
                  Installing("90%: Copying image to rootfs.1") +
                  Lines{"debug: Invalid state Installing", RaucStarted, "-- restart"} +
                  CameBack(Mismatch("2.0.0.0", "1.0.0.0")),
         .state = InstallationState::Failed,
         .running = "1.0.0.0"},
        {.name = "RaucIsNotRunning",
         .steps = {Stage("2.0.0.0"), Device("rauc-stop"),
                   Stage("3.0.0.0", {}, ResultCode::InvalidArgument, VerifyFailed),
                   Install("2.0.0.0", ResultCode::OperationFailed), Device("rauc-start"), Settle(), Resume(),
                   Ask(FileType::Pending, "2.0.0.0")},
         .story = Staged("2.0.0.0") + NoInfo + NothingBegun(ServiceUnknown) +
                  Lines{RaucStarted, "info: Resuming (from Installing)...", "ResumeInstallation"},
         .running = "1.0.0.0",
         .pending = true},
    };
}

Step Refused(const String& version, const Lines& options, const String& message = VerifyFailed,
             ResultCode result = ResultCode::InvalidArgument)
{
    return Stage(version, options, result, message);
}

std::vector<Journey> Refused()
{
    const String foreign = "The software package is build for the 'another-device' and not for the "
                           "'Controller'.";
    const auto cutPending = [](JourneyRun& run)
    { std::filesystem::resize_file(run.platform.GetPendingPath(), 10); };
    return {
        {.name = "RefusedBundlesLeaveTheEarlierOne",
         .steps = {Stage("2.0.0.0"), Refused("3.0.0.0", {"--stranger"}), Refused("3.1.0.0", {"--truncated"}),
                   Refused("3.2.0.0", {"--compatible", "another-device"}, foreign),
                   Refused("3.3.0.0", {"--manifest-version", String(512, '9')}),
                   Refused("", {"--folder"}, "The file is not a regular file."),
                   Refused("", {"--missing"}, "The file does not exist.", ResultCode::NotFound),
                   Ask(FileType::Pending, "2.0.0.0")},
         .story = Staged("2.0.0.0") + NoInfo + NoInfo +
                  Lines{"info VersionManager: Verify pending version.",
                        "error VersionManager: Incompatible file. System expects 'Controller' but is "
                        "'another-device'",
                        "error VersionManager: " + foreign, "info VersionManager: Verify pending version.",
                        "error VersionManager: " + VerifyFailed},
         .running = "1.0.0.0",
         .pending = true},
        {.name = "BundleThatCannotBeReadAnyMoreIsDeleted",
         .steps = {Stage("2.0.0.0"), cutPending, Install("2.0.0.0", ResultCode::NotFound)},
         .story = Staged("2.0.0.0") +
                  Lines{"SetMessage new ''", "error DesktopBusMethod: Error: *",
                        "error VersionManager: Failed to read pending version info.",
                        "info VersionManager: Delete invalid software package "
                        "~/pending.raucb"} +
                  NoPackage("2.0.0.0"),
         .running = "1.0.0.0"},
    };
}

} // namespace

std::vector<Journey> CommonJourneys()
{
    std::vector<Journey> rows;
    for (auto&& part : {Forward(), Backward(), Failed(), Refused()})
    {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

} // namespace Zel::Tests

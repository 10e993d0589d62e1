#include "Bus/RaucUpdater/Steps.h"
#include "Bus/RaucUpdater/Stories.h"

#include <filesystem>

namespace Zel::Tests
{

namespace
{

using enum ResultCode;

const String VerifyFailed = "The verification of the software package failed.";
const String SwitchedBack = "Confirm has not been sent. Device switched back to slot 'rootfs.0'. ";
/// Two properties that the module does not know.
const String RaucStarted = "error DesktopBusConnection: Failed to notify PropertiesChangedSignal";
const String Resuming = "info: Resuming (from Installing)...";
const String NoInfo = "error DesktopBusMethod: Error: *";
const Lines Completed = {"info: Installation HasCompleted=true"};

Lines Unverified(const Lines& reasons)
{
    return Lines{"info VersionManager: Verify pending version."} + reasons +
           Lines{"error VersionManager: " + VerifyFailed};
}

/// The verdict on the old version.
Lines CameBack(const String& reason, bool isPending = true)
{
    return Lines{"debug: CompleteInstallation", "error: " + reason} + Denied("1.0.0.0", reason, isPending);
}

/// An installation of 2.0.0.0 on the first version.
Lines Begun2()
{
    return Staged("2.0.0.0") + Begun("2.0.0.0", "1.0.0.0", "rootfs.0");
}

/// An installation of 2.0.0.0 that ends because no slot is known.
Lines NothingBegun(const String& refusal)
{
    const String error = "error DesktopBusMethod: Error: *" + refusal;
    const String reason = "Failed to get neither booted nor primary slot.";
    const Lines end = {"error VersionManager: " + reason, "SetMessage '" + reason + "'",
                       "WriteProperty InstallerSlotName=", "EndInstallation failed"};
    return Begun("2.0.0.0", "", "", 7) + Lines{error, error} + end;
}

/// A delayed installation was ordered just now: its moment was told, by a clock that names no zone.
void ExpectStartInAnHour(JourneyRun& run)
{
    const String line = run.GetStory().back();
    const auto begin = line.rfind(' ') + 1;
    const DateTime told = DateTime::FromIso8601String(line.substr(begin, line.size() - begin - 1));
    EXPECT_EQ(told.GetKind(), DateTimeKind::Unspecified) << line;
    const auto early = DateTime::GetUtcNow().GetTicks() + 3600 * DateTime::TicksPerSecond - told.GetTicks();
    EXPECT_TRUE(early >= 0 && early < 60 * DateTime::TicksPerSecond) << line;
}

std::vector<Journey> Forward()
{
    const Lines delayed = BegunLater("2.0.0.0", "1.0.0.0", "Pending");
    const Lines waiting(delayed.begin(), delayed.end() - 2);
    return {
        {.name = "UpdateIsConfirmed",
         .steps = {Stage("2.0.0.0"), Ask(FileType::Pending, "2.0.0.0"), Install("2.0.0.0"), Restart(),
                   Ask(FileType::Pending, "", NotFound)},
         .story = Updated("2.0.0.0", "1.0.0.0", "rootfs.0"),
         .end = {.revertible = true, .running = "2.0.0.0", .primary = "rootfs.1"}},
        {.name = "DeviceComesBackOnTheOldSlot",
         .steps = {Stage("2.0.0.0"), Install("2.0.0.0"), Restart(true)},
         .story = Begun2() + Installing() + Completed + Rebooted() + CameBack(Mismatch("2.0.0.0", "1.0.0.0")),
         .end = {.state = InstallationState::Failed, .running = "1.0.0.0"}},
        {.name = "DelayedUpdateIsConfirmed",
         .steps = {Stage("2.0.0.0"), Install("2.0.0.0", Ok, 1'500), Restart()},
         .story = Staged("2.0.0.0") + delayed + Installing() + Completed + Rebooted() + Confirmed("2.0.0.0"),
         .end = {.revertible = true, .running = "2.0.0.0", .primary = "rootfs.1"}},
        {.name = "DelayedUpdateCountsDownRefusesAllElseAndEndsByARestart",
         .steps = {Stage("2.0.0.0"), Install("2.0.0.0", Ok, 3'600'000), ExpectStartInAnHour,
                   Await("SetMessage 'The version 2.0.0.0 is going to be installed in 35* seconds.'"),
                   Install("2.0.0.0", InvalidState),
                   Stage("3.0.0.0", {}, InvalidState, "Installation is in progress."), Revert(InvalidState),
                   &JourneyRun::Restart},
         .story = Staged("2.0.0.0") + waiting +
                  Lines{"debug: Invalid state Installing", "info: RevertInstall",
                        "error: RAUC installation cannot be reverted. Installation is still in progress.",
                        "-- restart"} +
                  CameBack(Mismatch("2.0.0.0", "1.0.0.0")),
         .end = {.state = InstallationState::Failed, .running = "1.0.0.0"}},
        {.name = "ForeignInstallationKeepsRaucBusy",
         .steps = {Stage("2.0.0.0"), Device("busy"), Install("2.0.0.0", OperationFailed), Device("rest"),
                   Resume(), Update("3.0.0.0")},
         .story = Staged("2.0.0.0") + NothingBegun("already processing a different method") +
                  Lines{Resuming, "ResumeInstallation"} + Updated("3.0.0.0", "1.0.0.0", "rootfs.0"),
         .end = {.revertible = true, .running = "3.0.0.0", .primary = "rootfs.1"}}};
}

std::vector<Journey> Backward()
{
    const Lines update = Updated("2.0.0.0", "1.0.0.0", "rootfs.0");
    const Lines reverted = {"info: RevertInstall",
                            "warning: Going to switch back from slot 'rootfs.1' to 'rootfs.0'",
                            "BeginInstallation revert",
                            "WriteProperty RevertedTo=rootfs.0",
                            "info: The device is going to reboot.",
                            "RestartDevice",
                            "-- restart"};
    const Lines again = {"info: RevertInstall",
                         "info: The device has already been reverted to the installer slot 'rootfs.0'",
                         Resuming, "ResumeInstallation"};
    const auto revert = [](JourneyRun& run)
    {
        const auto begin = std::chrono::steady_clock::now();
        Revert()(run);
        EXPECT_GE(run.platform.deviceControl->restarted.load() - begin, std::chrono::milliseconds(2900));
    };
    return {{.name = "FallbackThereAndBack",
             .steps = {Update("2.0.0.0"), Update("3.0.0.0"), Ask(FileType::Fallback, "2.0.0.0"),
                       Install("2.0.0.0"), Restart(), Ask(FileType::Fallback, "3.0.0.0"), Install("3.0.0.0"),
                       Restart()},
             .story = update + Updated("3.0.0.0", "2.0.0.0", "rootfs.1") +
                      FellBack("2.0.0.0", "3.0.0.0", "rootfs.0") + FellBack("3.0.0.0", "2.0.0.0", "rootfs.1"),
             .end = {.revertible = true, .running = "3.0.0.0"}},
            {.name = "NoFallbackThatRaucNeverWrote",
             .steps = {Update("2.0.0.0"), Install("1.0.0.0", NotFound)},
             .story = update + Lines{"SetMessage new ''"} + NoPackage("1.0.0.0"),
             .end = {.revertible = true, .running = "2.0.0.0", .primary = "rootfs.1"}},
            {.name = "RevertAndRevertAgain",
             .steps = {Update("2.0.0.0"), revert, Restart(), Revert(AlreadyReverted), Resume(),
                       Update("2.0.0.0")},
             .story = update + reverted + CameBack(SwitchedBack + Mismatch("2.0.0.0", "1.0.0.0"), false) +
                      again + update,
             .end = {.revertible = true, .running = "2.0.0.0", .primary = "rootfs.1"}}};
}

/// What RAUC failed with.
Lines Broken(const String& reason)
{
    return Begun2() + Installing("100%: Installing failed.") +
           Lines{"error: LastErrorChanged: " + reason, "SetMessage '" + reason + "'",
                 "info: Installation HasCompleted=false", "EndInstallation failed"};
}

std::vector<Journey> Failed()
{
    return {
        {.name = "SlotIsTooSmall",
         .steps = {Stage("2.0.0.0", {"--image-size", "12582912"}), Install("2.0.0.0"),
                   Await("EndInstallation failed"), Install("2.0.0.0", InvalidState)},
         .story = Broken("Installation error: Failed updating slot rootfs.1: *") +
                  Lines{"debug: Invalid state Failed"},
         .end = {.state = InstallationState::Failed, .running = "1.0.0.0", .pending = true}},
        {.name = "PostInstallHandlerFailsAfterTheSlotWasActivated",
         .steps = {Stage("2.0.0.0", {"--post-install-fails"}), Install("2.0.0.0"),
                   Await("EndInstallation failed")},
         .story = Broken("Post-install handler error: *"),
         .end = {.state = InstallationState::Failed,
                 .running = "1.0.0.0",
                 .primary = "rootfs.1",
                 .pending = true}},
        {.name = "RaucIsKilledAtCopyingImage",
         .steps = {Stage("2.0.0.0", {"--held"}), Install("2.0.0.0"), Device("wait-held", {"10"}),
                   &JourneyRun::Settle, Device("rauc-stop", {"--kill"}), Install("2.0.0.0", InvalidState),
                   Device("rauc-start"), &JourneyRun::Settle, &JourneyRun::Restart},
         .story = Begun2() + Installing("90%: Copying image to rootfs.1") +
                  Lines{"debug: Invalid state Installing", RaucStarted, "-- restart"} +
                  CameBack(Mismatch("2.0.0.0", "1.0.0.0")),
         .end = {.state = InstallationState::Failed, .running = "1.0.0.0"}},
        {.name = "RaucIsNotRunning",
         .steps = {Stage("2.0.0.0"), Device("rauc-stop"), Stage("3.0.0.0", {}, InvalidArgument, VerifyFailed),
                   Install("2.0.0.0", OperationFailed), Device("rauc-start"), &JourneyRun::Settle, Resume(),
                   Ask(FileType::Pending, "2.0.0.0")},
         .story = Staged("2.0.0.0") + Unverified({NoInfo}) +
                  NothingBegun("ServiceUnknown - The name de.pengutronix.rauc was not provided by any "
                               ".service files") +
                  Lines{RaucStarted, Resuming, "ResumeInstallation"},
         .end = {.running = "1.0.0.0", .pending = true}}};
}

std::vector<Journey> Refused()
{
    const String foreign = "The software package is build for the 'another-device' and not for the "
                           "'Controller'.";
    const auto refused = [](const Lines& options, const String& message = VerifyFailed)
    { return Stage("3.0.0.0", options, InvalidArgument, message); };
    const auto cutPending = [](JourneyRun& run)
    { std::filesystem::resize_file(run.platform.GetPendingPath(), 10); };
    return {{.name = "RefusedBundlesLeaveTheEarlierOne",
             .steps = {Stage("2.0.0.0"), refused({"--stranger"}), refused({"--truncated"}),
                       refused({"--compatible", "another-device"}, foreign),
                       refused({"--manifest-version", String(512, '9')}), Ask(FileType::Pending, "2.0.0.0")},
             .story = Staged("2.0.0.0") + Unverified({NoInfo}) + Unverified({NoInfo}) +
                      Lines{"info VersionManager: Verify pending version.",
                            "error VersionManager: Incompatible file. System expects 'Controller' but is "
                            "'another-device'",
                            "error VersionManager: " + foreign} +
                      Unverified({}),
             .end = {.running = "1.0.0.0", .pending = true}},
            {.name = "BundleThatCannotBeReadAnyMoreIsDeleted",
             .steps = {Stage("2.0.0.0"), cutPending, Install("2.0.0.0", NotFound)},
             .story = Staged("2.0.0.0") +
                      Lines{"SetMessage new ''", NoInfo,
                            "error VersionManager: Failed to read pending version info.",
                            "info VersionManager: Delete invalid software package ~/pending.raucb"} +
                      NoPackage("2.0.0.0"),
             .end = {.running = "1.0.0.0"}}};
}

} // namespace

std::vector<Journey> CommonJourneys()
{
    std::vector<Journey> rows;
    for (auto&& part : {Forward(), Backward(), Failed(), Refused()})
    {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    std::ranges::for_each(rows, [](Journey& row) { row.isNew = true; });
    return rows;
}

} // namespace Zel::Tests

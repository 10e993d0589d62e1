#include "Bus/RaucUpdater/ScriptedJourneys.h"

#include <algorithm>

namespace Zel::Tests
{

namespace
{

using Support::ScriptedAnswer;
using Support::ScriptedSlot;

const String SwitchedBack = "Confirm has not been sent. Device switched back to slot 'rootfs.0'. ";
const String StillThere = "The device did not boot the other slot and is still on slot 'rootfs.0'.";
const String Same = Mismatch("2.0.0.0", "2.0.0.0");
const String Other = Mismatch("3.0.0.0", "2.0.0.0");
const String DeletePending = "info: Deleting pending firmware image ~/pending.raucb";
const Step NoSlotStatus =
    Rauc([](auto& rauc) { rauc.SetAnswer("GetSlotStatus", ScriptedAnswer::Refusal("no")); });
const Step NoPrimary = Rauc([](auto& rauc) { rauc.SetAnswer("GetPrimary", ScriptedAnswer::Refusal("no")); });
const String NoAnswer = "error DesktopBusMethod: Error: " + ScriptedAnswer::RefusalError + " - no";

/// A start after an installation, with a pending bundle.
Journey Verdict(
    const String& name, const Lines& properties, const Lines& story, bool isSuccess = false,
    const Step& device = [](JourneyRun&) {})
{
    const auto addPending = [](JourneyRun& run) { run.platform.folder.Write("pending.raucb", "bundle"); };
    return {.name = name,
            .before = {device, addPending, Stored(InstallationState::Installing, properties)},
            .story = story,
            .state = isSuccess ? InstallationState::Idle : InstallationState::Failed};
}

/// A revert after a failed installation with the message "broken".
Journey Reverted(const String& name, const Lines& properties, ResultCode result, const Lines& story,
                 std::vector<Step> steps = {})
{
    const auto setMessage = [](JourneyRun& run)
    { run.platform.status->SetMessage(run.platform.ComponentId, "broken", false); };
    steps.push_back(Revert(result));
    // A story that asks for the status first has it in its place.
    const bool isRevertFirst = std::ranges::find(story, "info: RevertInstall") == story.end();
    return {.name = name,
            .before = {Stored(InstallationState::Failed, properties, true), setMessage},
            .steps = steps,
            .story = (isRevertFirst ? Lines{"info: RevertInstall"} : Lines{}) + story,
            .state = InstallationState::Failed,
            .revertible = true};
}

} // namespace

std::vector<Journey> VerdictJourneys()
{
    const String target2 = "TargetSoftwareRevision=2.0.0.0";
    const String target3 = "TargetSoftwareRevision=3.0.0.0";
    const String on0 = "InstallerSlotName=rootfs.0";
    const String on1 = "InstallerSlotName=rootfs.1";
    const String back = "RevertedTo=rootfs.0";
    const String noTarget = "Failed to load target software revision.";
    const String noInfo = "Failed to get the system info for a successful completion.";
    const Lines begin = {"debug: CompleteInstallation"};
    const auto neverWritten =
        Rauc([](auto& rauc) { rauc.SetSlots({ScriptedSlot("rootfs.0", "A", "booted")}); });
    const auto noSlots = [](JourneyRun& run) { NoSlotStatus(run), NoPrimary(run); };
    const auto noVersion = [=](JourneyRun& run)
    {
        neverWritten(run);
        run.platform.deviceInfo->Set("General.Firmware.VersionPatch", Variant());
    };
    return {
        Verdict("OnTheOtherSlot", {target2, on1}, Confirmed("2.0.0.0"), true),
        Verdict("WithoutInstallerSlot", {target2}, Confirmed("2.0.0.0"), true),
        Verdict("OnASlotThatRaucNeverWrote", {target2, on1}, Confirmed("2.0.0.0"), true, neverWritten),
        Verdict("StillOnTheSlot", {target2, on0},
                begin + Lines{"info: " + Same, "error: " + StillThere} + Denied("2.0.0.0", StillThere)),
        Verdict("SwitchedBackToTheSameVersion", {target2, on0, back},
                begin + Lines{"info: " + Same, "warning: " + SwitchedBack + Same} +
                    Denied("2.0.0.0", SwitchedBack + Same)),
        Verdict("SwitchedBackToAnotherVersion", {target3, on0, back},
                begin + Lines{"error: " + SwitchedBack + Other} + Denied("2.0.0.0", SwitchedBack + Other)),
        Verdict("AnotherVersion", {target3, on0},
                begin + Lines{"error: " + Other} + Denied("2.0.0.0", Other)),
        Verdict("AnotherVersionOnTheOtherSlotAfterARevert", {target3, on1, "RevertedTo=rootfs.1"},
                begin + Lines{"error: " + Other} + Denied("2.0.0.0", Other)),
        Verdict("WithoutTarget", {on1}, begin + Denied("unknown", noTarget)),
        Verdict("PrimarySlotForTheBootedOne", {target2, on0},
                begin + Lines{NoAnswer, "info: " + Same, "error: " + StillThere} +
                    Denied("2.0.0.0", StillThere),
                false, NoSlotStatus),
        Verdict("WithoutSlots", {target2, on1},
                begin + Lines{NoAnswer, NoAnswer, "error: CompleteInstallation: " + noInfo,
                              FailedNotification("2.0.0.0", noInfo), DeletePending, "EndInstallation failed"},
                false, noSlots),
        Verdict("WithoutVersion", {target2, on1},
                begin + Lines{"error VersionManager: Failed to read current version. Attempt: 1",
                              "error: CompleteInstallation: " + noInfo, FailedNotification("2.0.0.0", noInfo),
                              DeletePending, "EndInstallation failed"},
                false, noVersion),
    };
}

std::vector<Journey> RevertJourneys()
{
    const Lines from1 = {"InstallerSlotName=rootfs.1"};
    const Lines going = {"warning: Going to switch back from slot 'rootfs.0' to 'rootfs.1'",
                         "error: Installation Error - UpdateStatus: broken", "ResumeInstallation"};
    const String begin = "BeginInstallation revert";
    const auto noControl = [](JourneyRun& run) { run.platform.UnregisterDeviceControl(); };
    const auto noName = Rauc([](auto& rauc) { rauc.SetAnswer("GetPrimary", ScriptedAnswer::Texts({""})); });
    const auto noMark = Rauc([](auto& rauc) { rauc.SetAnswer("Mark", ScriptedAnswer::Refusal("no")); });
    std::vector<Journey> rows = {
        Reverted("WithoutSlots", from1, ResultCode::GeneralError,
                 {NoAnswer, NoAnswer, "error: GetStatus: Failed to get neither booted nor primary slot.",
                  "info: RevertInstall", NoAnswer, NoAnswer,
                  "error: Failed to get booted as well as primary slot."},
                 {NoSlotStatus, NoPrimary, Revertible(true)}),
        Reverted("WithoutSlotName", from1, ResultCode::GeneralError,
                 {NoAnswer, "error: Slot name is unknown."}, {NoSlotStatus, noName}),
        Reverted("AlreadyDone", {"InstallerSlotName=rootfs.1", "RevertedTo=rootfs.1"},
                 ResultCode::AlreadyReverted,
                 {"info: The device has already been reverted to the installer slot 'rootfs.1'"}),
        Reverted("StoreDoesNotTell", from1, ResultCode::GeneralError, {}, {Refuse("GetStatus")}),
        Reverted("StoreDoesNotResume", from1, ResultCode::GeneralError, going, {Refuse("ResumeInst")}),
        Reverted("StoreDoesNotReadAProperty", from1, ResultCode::OperationFailed,
                 {"error: RevertInstall: refused"}, {Refuse("ReadProperty")}),
        Reverted("WithoutBootedSlot", from1, ResultCode::GeneralError,
                 {NoAnswer, "error: GetStatus: Failed to get booted slot.", "info: RevertInstall", NoAnswer,
                  "error: Failed to get booted slot."},
                 {NoSlotStatus, Revertible(true)})};
    rows.back().settings = "<ValidateBootedSlot fallbackOnPrimary='false'>true</ValidateBootedSlot>";
    rows.push_back(Reverted("WithoutInstallerSlot", {}, ResultCode::InvalidState,
                            {"error: Unable to get installer slot name properties."}));
    rows.back().revertible = false;
    rows.push_back(Reverted("OnTheInstallerSlot", {"InstallerSlotName=rootfs.0"}, ResultCode::Ok,
                            {"warning: The device is still on the installer slot 'rootfs.0'"}));
    rows.back().revertible = false;
    rows.push_back(Reverted("StoreDoesNotBegin", from1, ResultCode::GeneralError,
                            going + Lines{begin, "error: Failed to switch installation state to Installing."},
                            {Refuse("BeginInstallation")}));
    rows.back().state = InstallationState::Idle;
    rows.push_back(Reverted("RaucDoesNotMarkSoThatTheNextStartDecides", from1, ResultCode::GeneralError,
                            going + Lines{begin, NoAnswer, "error: Failed to switch to slot rootfs.1."},
                            {noMark}));
    rows.back().state = InstallationState::Installing;
    rows.push_back(Reverted("GoesOnWithoutPropertyAndLeavesTheRestartToTheUser", from1,
                            ResultCode::OperationFailed,
                            going + Lines{begin, "WriteProperty RevertedTo=rootfs.1",
                                          "error: Failed to write PropertyRevertedTo.",
                                          "error: IDeviceControlService is missing. Failed to reboot device. "
                                          "The restart must be triggered manually."},
                            {Refuse("WriteProperty RevertedTo")}));
    rows.back().before.push_back(noControl);
    rows.back().story.insert(rows.back().story.begin(),
                             "error: Failed to subscribe to IDeviceControlService.");
    rows.back().state = InstallationState::Installing;
    rows.back().primary = "rootfs.1";
    return rows;
}

} // namespace Zel::Tests

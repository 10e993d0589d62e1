#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "Bus/RaucUpdater/Stories.h"

#include <utility>

namespace Zel::Tests
{

namespace
{

using enum ResultCode;

const Step Nothing = [](JourneyRun&) {};
const Step NoSlotStatus = NoAnswerTo("GetSlotStatus");
const Step NoPrimary = NoAnswerTo("GetPrimary");

/// A start after an installation, with a pending bundle.
Journey Verdict(const String& name, const Lines& properties, const Lines& story, const Step& device = Nothing)
{
    const auto addPending = [](JourneyRun& run) { run.platform.folder.Write("pending.raucb", "bundle"); };
    const bool isSuccess = story.back() == "EndInstallation succeeded";
    return {.name = name,
            .before = {device, addPending, Stored(InstallationState::Installing, properties)},
            .story = (isSuccess ? Lines{} : Lines{"debug: CompleteInstallation"}) + story,
            .end = {.state = isSuccess ? InstallationState::Idle : InstallationState::Failed}};
}

/// A verdict that needs what is not known.
Lines Undecided(const Lines& reasons)
{
    const String reason = "Failed to get the system info for a successful completion.";
    return reasons + Lines{"error: CompleteInstallation: " + reason, FailedNotification("2.0.0.0", reason),
                           "info: Deleting pending firmware image ~/pending.raucb", "EndInstallation failed"};
}

std::vector<Journey> Verdicts()
{
    const String target2 = "TargetSoftwareRevision=2.0.0.0";
    const String target3 = "TargetSoftwareRevision=3.0.0.0";
    const String on0 = "InstallerSlotName=rootfs.0";
    const String on1 = "InstallerSlotName=rootfs.1";
    const String same = Mismatch("2.0.0.0", "2.0.0.0");
    const String other = Mismatch("3.0.0.0", "2.0.0.0");
    const String switchedBack = "Confirm has not been sent. Device switched back to slot 'rootfs.0'. ";
    const String stillThere = "The device did not boot the other slot and is still on slot 'rootfs.0'.";
    const Lines still = Lines{"info: " + same, "error: " + stillThere} + Denied("2.0.0.0", stillThere);
    const auto neverWritten = Rauc([](auto& rauc) { rauc->slots = {{"rootfs.0", "booted"}}; });
    const auto noSlots = [](auto& run) { NoSlotStatus(run), NoPrimary(run); };
    const auto noVersion = [=](auto& run)
    { neverWritten(run), run.platform.deviceInfo->Set("General.Firmware.VersionPatch", Variant()); };
    return {Verdict("WithoutInstallerSlot", {target2}, Confirmed("2.0.0.0")),
            Verdict("OnASlotThatRaucNeverWrote", {target2, on1}, Confirmed("2.0.0.0"), neverWritten),
            Verdict("StillOnTheSlot", {target2, on0}, still),
            Verdict("SwitchedBackToTheSameVersion", {target2, on0, "RevertedTo=rootfs.0"},
                    Lines{"info: " + same, "warning: " + switchedBack + same} +
                        Denied("2.0.0.0", switchedBack + same)),
            Verdict("AnotherVersionOnTheOtherSlotAfterARevert", {target3, on1, "RevertedTo=rootfs.1"},
                    Lines{"error: " + other} + Denied("2.0.0.0", other)),
            Verdict("WithoutTarget", {on1}, Denied("unknown", "Failed to load target software revision.")),
            Verdict("PrimarySlotForTheBootedOne", {target2, on0}, Lines{NoAnswer} + still, NoSlotStatus),
            Verdict("WithoutSlots", {target2, on1}, Undecided({NoAnswer, NoAnswer}), noSlots),
            Verdict("WithoutVersion", {target2, on1},
                    Undecided({"error VersionManager: Failed to read current version. Attempt: 1"}),
                    noVersion)};
}

/// A revert after a failed installation with the message "broken".
Journey Reverted(const String& name, const Lines& properties, ResultCode result, const Lines& story,
                 std::vector<Step> steps = {},
                 const JourneyEnd& end = {.state = InstallationState::Failed, .revertible = true})
{
    const auto setMessage = [](JourneyRun& run)
    { run.platform.status->SetMessage(run.platform.ComponentId, "broken", false); };
    steps.push_back(Revert(result));
    return {.name = name,
            .before = {Stored(InstallationState::Failed, properties, true), setMessage},
            .steps = std::move(steps),
            .story = Lines{"info: RevertInstall"} + story,
            .end = end};
}

std::vector<Journey> Reverts()
{
    using enum InstallationState;
    const Lines from1 = {"InstallerSlotName=rootfs.1"};
    const Lines going = {"warning: Going to switch back from slot 'rootfs.0' to 'rootfs.1'",
                         "error: Installation Error - UpdateStatus: broken", "ResumeInstallation"};
    const Lines begun = going + Lines{"BeginInstallation revert"};
    std::vector<Journey> rows = {
        Reverted("WithoutSlots", from1, GeneralError,
                 {NoAnswer, NoAnswer, "error: Failed to get booted as well as primary slot.", NoAnswer,
                  NoAnswer, "error: GetStatus: Failed to get neither booted nor primary slot."},
                 {NoSlotStatus, NoPrimary}),
        Reverted("WithoutBootedSlot", from1, GeneralError,
                 {NoAnswer, "error: Failed to get booted slot.", NoAnswer,
                  "error: GetStatus: Failed to get booted slot."},
                 {NoSlotStatus}),
        Reverted("WithoutSlotName", from1, GeneralError, {NoAnswer, "error: Slot name is unknown."},
                 {NoSlotStatus, Answer("GetPrimary", {.texts = {""}})}),
        Reverted("WithoutInstallerSlot", {}, InvalidState,
                 {"error: Unable to get installer slot name properties."}, {}, {.state = Failed}),
        Reverted("OnTheInstallerSlot", {"InstallerSlotName=rootfs.0"}, Ok,
                 {"warning: The device is still on the installer slot 'rootfs.0'"}, {}, {.state = Failed}),
        Reverted("StoreDoesNotTell", from1, GeneralError, {}, {Refuse("GetStatus")}),
        Reverted("StoreDoesNotReadAProperty", from1, OperationFailed, {"error: RevertInstall: refused"},
                 {Refuse("ReadProperty")}),
        Reverted("StoreDoesNotResume", from1, GeneralError, going, {Refuse("ResumeInst")}),
        Reverted("StoreDoesNotBegin", from1, GeneralError,
                 begun + Lines{"error: Failed to switch installation state to Installing."},
                 {Refuse("BeginInstallation")}, {.state = Idle, .revertible = true}),
        Reverted("RaucDoesNotMarkSoThatTheNextStartDecides", from1, GeneralError,
                 begun + Lines{NoAnswer, "error: Failed to switch to slot rootfs.1."}, {NoAnswerTo("Mark")},
                 {.state = Installing, .revertible = true}),
        Reverted("GoesOnWithoutPropertyAndLeavesTheRestartToTheUser", from1, OperationFailed,
                 begun +
                     Lines{"WriteProperty RevertedTo=rootfs.1", "error: Failed to write PropertyRevertedTo.",
                           "error: IDeviceControlService is missing. Failed to reboot device. The restart "
                           "must be triggered manually."},
                 {Refuse("WriteProperty RevertedTo")},
                 {.state = Installing, .revertible = true, .primary = "rootfs.1"})};
    rows[1].settings = "<ValidateBootedSlot fallbackOnPrimary='false'>true</ValidateBootedSlot>";
    rows.back() = WithoutDeviceControl(rows.back());
    return rows;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Verdict, JourneyTest, testing::ValuesIn(Verdicts()), JourneyTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Revert, JourneyTest, testing::ValuesIn(Reverts()), JourneyTest::NameOf);

} // namespace Zel::Tests

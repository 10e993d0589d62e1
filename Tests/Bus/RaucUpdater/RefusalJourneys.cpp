#include "Bus/RaucUpdater/ScriptedJourneys.h"

namespace Zel::Tests
{

namespace
{

using Support::ScriptedAnswer;
using Support::ScriptedSlot;

const String NoAnswer = "error DesktopBusMethod: Error: " + ScriptedAnswer::RefusalError + " - no";
const String UnknownSlots = "Failed to get neither booted nor primary slot.";
const String Unverified =
    "warning VersionManager: The updater won't be able to verify that the installation is "
    "successful if the current version and target version are equal.";

Step Refuses(const String& member)
{
    return Answer(member, ScriptedAnswer::Refusal("no"));
}

/// An installation of `version` that ends as failed, at once and after a delay of 1 ms.
void AddFailed(const String& name, const String& version, ResultCode result, const std::vector<Step>& before,
               const Lines& story, std::vector<Journey>& rows)
{
    for (const long long delay : {0, -1, 1})
    {
        Journey row{.name = name + (delay == 0  ? ""
                                    : delay < 0 ? "WithANegativeDelay"
                                                : "Delayed"),
                    .steps = {Stage("3.0.0.0"), Ask(FileType::Fallback, "1.0.0.0")},
                    .state = InstallationState::Failed,
                    .pending = true};
        row.steps.insert(row.steps.end(), before.begin(), before.end());
        row.steps.push_back(Install(version, delay > 0 ? ResultCode::Ok : result, delay));
        row.steps.push_back(Await("EndInstallation failed"));
        // Not its own installation any more: what RAUC tells is nobody's.
        row.steps.push_back(Stored(InstallationState::Installing, {}));
        row.steps.push_back(Rauc([](auto& rauc) { rauc.EmitProgress(10, "somebody else's", 1); }));
        row.steps.push_back(Settle());
        row.steps.push_back(Stored(InstallationState::Failed, {}));
        const Lines begun = Begun(version, "2.0.0.0", "rootfs.0");
        Lines delayed = DelayedBegin(version, "rootfs.0", version == "1.0.0.0" ? "Fallback" : "Pending");
        delayed.insert(delayed.end(), {"debug: Start delayed installation.", begun.back()});
        row.story =
            Staged("3.0.0.0") + (delay > 0 ? delayed : begun) + story + Lines{"EndInstallation failed"};
        rows.push_back(std::move(row));
    }
}

/// An installation that is not begun, or not given to RAUC.
Journey Unbegun(const String& name, const Step& install, const Lines& story,
                InstallationState state = InstallationState::Idle)
{
    return {.name = name,
            .steps = {Stage("3.0.0.0"), install},
            .story = Staged("3.0.0.0") + story,
            .state = state,
            .pending = true};
}

Step InstallPatched(const String& uri, const Lines& patches)
{
    return [=](JourneyRun& run)
    {
        Version wanted;
        wanted.softwareManufacturerUri = uri;
        wanted.softwareRevision = "9.0.0.0";
        wanted.patchIdentifiers.assign(patches.begin(), patches.end());
        EXPECT_EQ(run.module->InstallSoftwarePackage(run.platform.ComponentId, wanted, 0),
                  ResultCode::NotFound);
    };
}

/// An installation without any slot, by the settings for that.
Journey WithoutSlots(const String& name, const String& settings, std::uint32_t timeout, ResultCode result,
                     const Lines& story, InstallationState state)
{
    const auto setTimeout = [=](JourneyRun& run) { run.platform.status->SetConfirmationTimeout(timeout); };
    Lines begun = Begun("3.0.0.0", "", "");
    begun.resize(7);
    return {.name = name,
            .before = {setTimeout, Refuses("GetSlotStatus"), Refuses("GetPrimary")},
            .settings = settings,
            .steps = {Stage("3.0.0.0"), Hold(1), Install("3.0.0.0", result), Settle()},
            .story = Staged("3.0.0.0") + begun + story,
            .state = state,
            .pending = true};
}

void AddUnbegun(std::vector<Journey>& rows)
{
    const String noPackage = "There is not a software package with software revision '9.0.0.0' and patch "
                             "identifiers 'A,B'. ";
    const String foreign = "'https://other.example' does not match the expected manufacturer URI "
                           "'https://corvane.example'.";
    const String noFallback =
        "warning VersionManager: Failed to read fallback version. Maybe there is no other "
        "valid slot. Attempt: 1";
    const auto badSlot = Rauc(
        [](auto& rauc)
        {
            rauc.SetSlots(
                {ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0"),
                 ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0").Set("boot-status", "bad")});
        });
    const String noBad = "There is not a software package with software revision '1.0.0.0' and patch "
                         "identifiers ''. ";
    rows.push_back(
        Unbegun("NoSuchVersion", InstallPatched("https://corvane.example", {"A", "B"}),
                {"SetMessage new ''", "SetMessage new '" + noPackage + "'", "error: " + noPackage}));
    rows.push_back(Unbegun("NoSuchManufacturer", InstallPatched("https://other.example", {}),
                           {"SetMessage new ''", "SetMessage new '" + foreign + "'", "error: " + foreign}));
    rows.push_back(
        Unbegun("NoFallbackOnABadSlot", Install("1.0.0.0", ResultCode::NotFound),
                {"SetMessage new ''", noFallback, "SetMessage new '" + noBad + "'", "error: " + noBad}));
    rows.back().before = {badSlot};
    rows.push_back(Unbegun("WithoutDeviceControl", Install("3.0.0.0", ResultCode::OperationFailed),
                           {"SetMessage new ''", "error: IDeviceControlService is missing."}));
    rows.back().before = {[](JourneyRun& run) { run.platform.UnregisterDeviceControl(); }};
    rows.back().story.insert(rows.back().story.begin(),
                             "error: Failed to subscribe to IDeviceControlService.");
}

void AddWithoutSlots(std::vector<Journey>& rows)
{
    const String any = "<ValidateBootedSlot fallbackOnPrimary='false'>false</ValidateBootedSlot>";
    const String confirm =
        "Booted slot is not available. ConfirmationTimeout must be set to 0 to proceed with "
        "the installation.";
    const Lines noBooted = {NoAnswer, "warning VersionManager: Failed to get booted slot.",
                            "SetMessage 'Failed to get booted slot.'", "WriteProperty InstallerSlotName="};
    rows.push_back(WithoutSlots("SlotsAreNeeded", "", 0, ResultCode::OperationFailed,
                                {NoAnswer, NoAnswer, "error VersionManager: " + UnknownSlots,
                                 "SetMessage '" + UnknownSlots + "'",
                                 "WriteProperty InstallerSlotName=", "EndInstallation failed"},
                                InstallationState::Failed));
    rows.push_back(WithoutSlots("SlotsAreNeededToConfirm", any, 60, ResultCode::BootedSlotUnavailable,
                                noBooted + Lines{"error VersionManager: " + confirm,
                                                 "SetMessage '" + confirm + "'", "EndInstallation failed"},
                                InstallationState::Failed));
    rows.push_back(WithoutSlots("SlotsAreNotNeeded", any, 0, ResultCode::Ok,
                                noBooted +
                                    Lines{"info: Updating from version '2.0.0.0' to version '3.0.0.0'."} +
                                    Installing("0%: Installing"),
                                InstallationState::Installing));
}

} // namespace

std::vector<Journey> RefusalJourneys()
{
    std::vector<Journey> rows;
    const auto error = [](const String& text) {
        return Lines{"error: " + text, "SetMessage '" + text + "'"};
    };
    const Lines pending = {"info: The pending version will be installed."};
    AddFailed("RaucIsBusy", "3.0.0.0", ResultCode::InvalidState,
              {Rauc([](auto& rauc) { rauc.EmitOperation("installing"); })},
              error("Failed to start RAUC installation. Invalid RAUC state."), rows);
    AddFailed("RaucDoesNotTellWhetherItIsBusy", "3.0.0.0", ResultCode::InvalidState, {Refuses("Operation")},
              Lines{NoAnswer} + error("Failed to start RAUC installation. Invalid RAUC state."), rows);
    AddFailed("RaucDoesNotInstall", "3.0.0.0", ResultCode::OperationFailed, {Refuses("InstallBundle")},
              pending + Lines{NoAnswer, "SetMessage 'Failed to start RAUC installation.'"}, rows);
    AddFailed("NoOtherSlotAnyMore", "1.0.0.0", ResultCode::OperationFailed,
              {Rauc([](auto& rauc)
                    { rauc.SetSlots({ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0")}); })},
              FallingBack() + error("Failed to determine fallback version."), rows);
    AddFailed("RaucDoesNotSwitch", "1.0.0.0", ResultCode::OperationFailed, {Refuses("Mark")},
              FallingBack() + Lines{NoAnswer} + error("Failed to switch slot to fallback version."), rows);
    AddUnbegun(rows);
    AddWithoutSlots(rows);
    return rows;
}

} // namespace Zel::Tests

// What RAUC, the status store and the services refuse, and signals that are none of the module's.

#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "Bus/RaucUpdater/Stories.h"

#include <limits>
#include <pthread.h>
#include <stdexcept>

namespace Zel::Tests
{

namespace
{

using enum ResultCode;
using State = InstallationState;

const Lines Pending = {"info: The pending version will be installed."};
const Lines FallingBack = {"info: The fallback version will be installed."};
const Lines Ended = {"EndInstallation failed"};
const String NoStart = "Failed to start RAUC installation.";

Lines BegunTo(std::size_t count = 9)
{
    return Begun("3.0.0.0", "2.0.0.0", "rootfs.0", count);
}

/// Something happens while 3.0.0.0 is pending.
Journey While(const String& name, std::vector<Step> steps, const Lines& story, State state = State::Idle)
{
    steps.insert(steps.begin(), Stage("3.0.0.0"));
    return {.name = name,
            .steps = steps,
            .story = Staged("3.0.0.0") + story,
            .end = {.state = state, .pending = true}};
}

/// An installation that ends as failed, at once or after a delay.
Journey Failed(const String& name, const Lines& begun, const Step& install, const Step& before,
               const Lines& story)
{
    // Not its own installation any more: what RAUC tells is nobody's.
    const auto tell = Rauc([](auto& rauc) { rauc.EmitProgress(10, "somebody else's", 1); });
    return While(name,
                 {Ask(FileType::Fallback, "1.0.0.0"), before, install, Await(Ended[0]),
                  Stored(State::Installing), tell, &JourneyRun::Settle, Stored(State::Failed)},
                 begun + story + Ended, State::Failed);
}

/// Takes a step while the process gets no new thread, as each would need more stack than there is memory.
Step WithoutThreads(const Step& step)
{
    return [=](auto& run)
    {
        pthread_attr_t usual{};
        EXPECT_EQ(pthread_getattr_default_np(&usual), 0);
        pthread_attr_t huge = usual;
        EXPECT_EQ(pthread_attr_setstacksize(&huge, SIZE_MAX / 2) + pthread_setattr_default_np(&huge), 0);
        step(run);
        EXPECT_EQ(pthread_setattr_default_np(&usual), 0);
    };
}

std::vector<Journey> RaucRefuses()
{
    const auto error = [](const String& text) {
        return Lines{"error: " + text, "SetMessage '" + text + "'"};
    };
    const auto oneSlot = [](auto& rauc) { rauc->slots = {{"rootfs.0", "booted", "2.0.0.0"}}; };
    const auto busy = error(NoStart + " Invalid RAUC state.");
    const Lines later = BegunLater("3.0.0.0", "2.0.0.0", "Pending");
    const String noThread = "error Thread: Failed to start thread ";
    const Lines back = Begun("1.0.0.0", "2.0.0.0", "rootfs.0") + FallingBack;
    const Journey noTimer = Failed("NoThreadForTheDelay", Lines(later.begin(), later.end() - 2),
                                   WithoutThreads(Install("3.0.0.0", OperationFailed, 1)), Rauc([](auto&) {}),
                                   {noThread + "'RaucUpdateStatus': *", noThread + "'RaucDelayInstall': *",
                                    "error: Failed to start RaucDelayInstall timer."});
    return {noTimer,
            Failed("RaucIsBusyAfterTheDelay", later, Install("3.0.0.0", Ok, 1),
                   Rauc([](auto& rauc) { rauc.EmitOperation("installing"); }), busy),
            Failed("RaucDoesNotTellWhetherItIsBusy", BegunTo(), Install("3.0.0.0", InvalidState, -1),
                   NoAnswerTo("Operation"), Lines{NoAnswer} + busy),
            Failed("RaucDoesNotInstall", BegunTo(), Install("3.0.0.0", OperationFailed),
                   NoAnswerTo("InstallBundle"), Pending + Lines{NoAnswer, "SetMessage '" + NoStart + "'"}),
            Failed("NoOtherSlotAnyMore", back, Install("1.0.0.0", OperationFailed), Rauc(oneSlot),
                   error("Failed to determine fallback version.")),
            Failed("RaucDoesNotSwitchAfterTheDelay",
                   BegunLater("1.0.0.0", "2.0.0.0", "Fallback") + FallingBack, Install("1.0.0.0", Ok, 1),
                   NoAnswerTo("Mark"),
                   Lines{NoAnswer} + error("Failed to switch slot to fallback version."))};
}

std::vector<Journey> NotBegun()
{
    const auto refused = [](const String& text) {
        return Lines{"SetMessage new ''", "SetMessage new '" + text + "'", "error: " + text};
    };
    Version patched = VersionOf("9.0.0.0");
    patched.patchIdentifiers = {"A", "B"};
    const String byHand = "Failed to reboot device. The restart must be triggered manually.";
    return {
        While(
            "NoSuchVersion", {Install(patched, NotFound)},
            refused("There is not a software package with software revision '9.0.0.0' and patch identifiers "
                    "'A,B'. ")),
        While("NoSuchManufacturer", {Install(VersionOf("9.0.0.0", "https://other.example"), NotFound)},
              refused("'https://other.example' does not match the expected manufacturer URI "
                      "'https://corvane.example'.")),
        // The last moment that can be told; the end of the module is the end of the wait.
        While("DelayedForEver", {Install("3.0.0.0", Ok, std::numeric_limits<long long>::max())},
              BegunTo(8) + Lines{"info: The Pending version 3.0.0.0 is going to be installed at "
                                 "29228-09-14T02:48:05.47*"},
              State::Installing),
        WithoutDeviceControl(While("WithoutDeviceControl", {Install("3.0.0.0", OperationFailed)},
                                   {"SetMessage new ''", "error: IDeviceControlService is missing."})),
        WithoutDeviceControl(
            {.name = "CompletedWithoutDeviceControl",
             .steps = {Stored(State::Installing), Rauc([](auto& rauc) { rauc.EmitCompleted(0); })},
             .story = {"info: Installation HasCompleted=true",
                       "error: IDeviceControlService is missing. " + byHand, "SetMessage '" + byHand + "'"},
             .end = {.state = State::Installing}})};
}

/// Installations without an answer to which slot was booted, where none is required.
std::vector<Journey> WithoutSlot()
{
    const String confirm =
        "Booted slot is not available. ConfirmationTimeout must be set to 0 to proceed with "
        "the installation.";
    const auto install = [](const String& version, std::uint32_t timeout, ResultCode result,
                            const Lines& story, State state) -> Journey
    {
        const String unknown = "Failed to get booted slot.";
        const auto setTimeout = [=](auto& run) { run.platform.status->confirmationTimeout = timeout; };
        return {
            .name = "Version" + version.substr(0, 1) + "Timeout" + std::to_string(timeout),
            .before = {NoAnswerTo("GetSlotStatus"), Rauc([](auto& rauc) { rauc->heldAt = 0; }), setTimeout},
            .settings = "<ValidateBootedSlot fallbackOnPrimary='false'>false</ValidateBootedSlot>",
            .steps = {Stage(version), Install(version, result)},
            .story = Staged(version) + Begun(version, "", "", 7) +
                     Lines{NoAnswer, "warning VersionManager: " + unknown, "SetMessage '" + unknown + "'",
                           "WriteProperty InstallerSlotName="} +
                     story,
            .end = {.state = state, .pending = true}};
    };
    const auto begun = [](const String& version)
    { return Lines{Begun(version, "2.0.0.0", "").back()} + Pending + Lines{"SetMessage ''"}; };
    const Lines unconfirmed =
        Lines{"error VersionManager: " + confirm, "SetMessage '" + confirm + "'"} + Ended;
    // The slot is known, and the store does not keep it: no message where none is required.
    const auto unsaved = [](Journey row, const Lines& story)
    {
        row.name += "Unsaved";
        row.before[0] = Refuse("WriteProperty InstallerSlotName=r");
        row.story = Staged("3.0.0.0") + BegunTo(8) + story;
        return row;
    };
    const Journey refused = install("3.0.0.0", 60, BootedSlotUnavailable, unconfirmed, State::Failed);
    const Journey goesOn = install("3.0.0.0", 0, Ok, begun("3.0.0.0"), State::Installing);
    return {refused, unsaved(refused, unconfirmed), goesOn, unsaved(goesOn, begun("3.0.0.0")),
            install("2.0.0.0", 0, Ok,
                    Lines{"warning VersionManager: The updater won't be able to verify that the installation "
                          "is successful if the current version and target version are equal."} +
                        begun("2.0.0.0"),
                    State::Installing)};
}

/// What RAUC tells differently, and the module makes something of all the same.
std::vector<Journey> Survived()
{
    const String noReply = "org.freedesktop.DBus.Error.NoReply";
    const Support::ScriptedAnswer lost = {.error = noReply, .texts = {"late"}, .isOnce = true};
    const auto sixteen = [](auto& rauc)
    {
        const std::vector<std::pair<String, String>> unfit = {
            {"boot-status", "bad"}, {"status", "pending"}, {"state", "active"}, {"state", "Inactive"}};
        rauc->slots[0].texts["boot-status"] = "bad";
        for (std::size_t i = 2; i < 16; ++i)
        {
            const String name = std::to_string(i);
            auto& slot = rauc->slots.emplace_back("rootfs." + name, "inactive", "9.0.0." + name);
            const auto& [key, value] = unfit.at(i % unfit.size());
            slot.texts[key] = i == 7 || i == 12 ? slot.texts[key] : value;
        }
    };
    const String other = "Incompatible file. System expects 'Controller' but is 'Other'";
    const String foreign = "The software package is build for the 'Other' and not for the 'Controller'.";
    const auto refusal = Support::ScriptedAnswer::Refusal("no");
    return {
        {.name = "LostCallIsRepeated",
         .steps = {Answer("InstallBundle", lost), Update("3.0.0.0")},
         .story = Staged("3.0.0.0") + BegunTo() + Pending +
                  Lines{"error DesktopBusMethod: Error: " + noReply + " - late", Installing().back(),
                        "info: Installation HasCompleted=true"} +
                  Rebooted() + Confirmed("3.0.0.0"),
         .end = {.revertible = true, .running = "3.0.0.0", .primary = "rootfs.1"}},
        {.name = "FirstGoodSlotByNameOfSixteen",
         .steps = {Rauc(sixteen), Ask(FileType::Fallback, "9.0.0.12"), Install("9.0.0.12"), Restart()},
         .story = FellBack("9.0.0.12", "2.0.0.0", "rootfs.0"),
         .end = {.revertible = true, .running = "9.0.0.12", .primary = "rootfs.12"}},
        {.name = "CompatibleIsUnknownOnce",
         .steps = {Answer("Compatible", {.error = refusal.error, .texts = refusal.texts, .isOnce = true}),
                   Stage("3.0.0.0", {"--compatible", "Other"}),
                   Stage("4.0.0.0", {"--compatible", "Other"}, InvalidArgument, foreign)},
         .story =
             {Staged("")[0], NoAnswer, "error VersionManager: Failed to get compatible.",
              "warning VersionManager: System's compatible is not set and cannot be validated against Other.",
              Staged("3.0.0.0")[1], Staged("")[0], "error VersionManager: " + other,
              "error VersionManager: " + foreign},
         .end = {.pending = true}},
        {.name = "CompatibleIsNotValidated",
         .settings = "<ValidateCompatible>0</ValidateCompatible>",
         .steps = {Stage("3.0.0.0", {"--compatible", "Other"})},
         .story = {Staged("")[0], "warning VersionManager: " + other, Staged("3.0.0.0")[1]},
         .end = {.pending = true}}};
}

std::vector<Journey> StoreRefuses()
{
    const auto error = [](const String& text) { return Lines{"error: " + text}; };
    const String begin = "Failed to switch installation state to Installing.";
    const auto install = [](const String& name, const String& call, ResultCode result, const Lines& story,
                            State state = State::Idle) {
        return While(name, {Refuse(call), Install("3.0.0.0", result)}, story, state);
    };
    const auto throwing = [](const String& name, const Step& before, const String& call, const Step& step,
                             const Lines& story, State state = State::Idle)
    {
        const auto throws = [=](auto& run) { EXPECT_THROW(step(run), std::runtime_error); };
        return While(name, {before, Refuse(call), throws}, story, state);
    };
    const auto getStatus = [](JourneyRun& run, Services::SoftwareUpdate::SoftwareUpdateStatus status = {})
    { static_cast<void>(run.module->GetStatus("Controller", status)); };
    const auto noInstall = NoAnswerTo("InstallBundle");
    const Lines refused = Pending + Lines{NoAnswer, "SetMessage '" + NoStart + "'"} + Ended;
    // After a delay nobody is there for the exception but the thread.
    const String thrown = "error Thread: Thread 'RaucDelayInstall' ended by an exception: refused";
    return {install("Status", "GetStatus", GeneralError, {}),
            install("DeletedTarget", "WriteProperty Target", GeneralError,
                    BegunTo(2) + error("Failed to delete last installation property.")),
            install("DeletedSlot", "WriteProperty InstallerSlot", GeneralError,
                    BegunTo(3) + error("Failed to delete last installer slot name property.")),
            install("DeletedRevert", "WriteProperty RevertedTo", GeneralError,
                    BegunTo(4) + error("Failed to delete last reverted to property.")),
            install("Begin", "BeginInstallation", OperationFailed,
                    BegunTo(5) + Lines{"SetMessage new '" + begin + "'"} + error(begin)),
            install("SavedTarget", "WriteProperty TargetSoftwareRevision=3", OperationFailed,
                    BegunTo(7) + Ended, State::Failed),
            install("SavedSlot", "WriteProperty InstallerSlotName=r", OperationFailed,
                    BegunTo(8) + Lines{"SetMessage 'Failed to save booted slot name.'"} + Ended,
                    State::Failed),
            throwing("Story", noInstall, "SetMessage new", Install("3.0.0.0"), BegunTo(1)),
            throwing("Reason", noInstall, "SetMessage 'Failed", Install("3.0.0.0"), BegunTo() + refused,
                     State::Failed),
            throwing("End", noInstall, "EndInstallation", Install("3.0.0.0"), BegunTo() + refused,
                     State::Installing),
            throwing("Property", Stored(State::Idle, {}, true), "ReadProperty", getStatus, {}),
            While("ReasonAfterADelay",
                  {noInstall, Refuse("SetMessage 'Failed"), Install("3.0.0.0", Ok, 1), Await(thrown)},
                  BegunLater("3.0.0.0", "2.0.0.0", "Pending") + refused + Lines{thrown}, State::Failed),
            While("Resume", {Stored(State::Failed), Refuse("ResumeInstallation"), Resume(OperationFailed)},
                  {"info: Resuming (from Installing)...", "ResumeInstallation"}, State::Failed),
            While("StatusOfOthers", {Refuse("GetStatus"), Resume(GeneralError), Stage("4", {}, GeneralError)},
                  {})};
}

/// An installation that RAUC holds before its first step, and what the module makes of a signal then, when
/// the store refuses something.
Journey Told(const String& name, const std::function<void(Support::ScriptedRauc&)>& tell, const Lines& story,
             const String& refused)
{
    return While(name,
                 {Rauc([](auto& rauc) { rauc->heldAt = 0; }), Install("3.0.0.0"), &JourneyRun::Settle,
                  Refuse(refused), Rauc(tell)},
                 BegunTo() + Pending + Lines{"SetMessage ''"} + story, State::Installing);
}

std::vector<Journey> Signals()
{
    const auto progress = [](auto& rauc) { rauc.EmitProgress(40, "Copying", 1); };
    const auto broken = [](auto& rauc) { rauc.EmitLastError("broken"); };
    const auto failed = [](auto& rauc) { rauc.EmitCompleted(7); };
    const auto progressAndUnknown = [](auto& rauc)
    {
        rauc.EmitProperties(3, "Progress", "(isi)", 40, "Copying", 1, "BootSlot", "s", "A", "LastError", "s",
                            "x");
    };
    const auto all = [=](auto& rauc) { progress(rauc), broken(rauc), failed(rauc); };
    const String reboot = "The device is going to reboot.";
    const Lines ended = Lines{"info: Installation HasCompleted=false"} + Ended;
    std::vector<Journey> rows = {
        Told("UntoldStatus", all,
             {"error: Failed to get updater status.", "error: Failed to get updater status.",
              "error: Failed to get updater status"},
             "GetStatus"),
        Told("UntoldText", progressAndUnknown,
             {"info: (1) 40%: Copying", "SetMessage 'Copying'", "error: OnProgressChanged: refused",
              "error DesktopBusConnection: Failed to notify PropertiesChangedSignal"},
             "SetMessage 'Copying"),
        Told("UntoldLastError", broken,
             {"error: LastErrorChanged: broken", "SetMessage 'broken'", "error: OnLastErrorChanged: refused"},
             "SetMessage 'broken"),
        Told("UntoldEnd", failed, ended + Lines{"error: OnCompleted: refused"}, "EndInstallation"),
        Told(
            "UntoldReboot", [](auto& rauc) { rauc.EmitCompleted(0); },
            {"info: Installation HasCompleted=true", "info: " + reboot, "SetMessage '" + reboot + "'",
             "error: OnCompleted: refused"},
            "SetMessage 'The device")};
    // Signals of an installation that is not the module's own change nothing.
    const auto foreign = Rauc([=](auto& rauc) { progress(rauc), broken(rauc); });
    rows.push_back(While("SignalsOutsideOfItsOwnInstallation",
                         {Rauc(all), &JourneyRun::Settle, Stored(State::Failed), Rauc(all),
                          &JourneyRun::Settle, Stored(State::Installing), foreign},
                         {}, State::Installing));
    return rows;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(RaucRefuses, JourneyTest, testing::ValuesIn(RaucRefuses()), JourneyTest::NameOf);
INSTANTIATE_TEST_SUITE_P(NotBegun, JourneyTest, testing::ValuesIn(NotBegun()), JourneyTest::NameOf);
INSTANTIATE_TEST_SUITE_P(WithoutSlot, JourneyTest, testing::ValuesIn(WithoutSlot()), JourneyTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Survived, JourneyTest, testing::ValuesIn(Survived()), JourneyTest::NameOf);
INSTANTIATE_TEST_SUITE_P(StoreRefuses, JourneyTest, testing::ValuesIn(StoreRefuses()), JourneyTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Signals, JourneyTest, testing::ValuesIn(Signals()), JourneyTest::NameOf);

} // namespace Zel::Tests

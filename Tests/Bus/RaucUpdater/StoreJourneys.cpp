#include "Bus/RaucUpdater/ScriptedJourneys.h"

#include <stdexcept>

namespace Zel::Tests
{

namespace
{

using Support::ScriptedAnswer;

const Lines Pending = {"info: The pending version will be installed."};
const String Rebooting = "The device is going to reboot.";

/// An operation that the store's refusal leaves by an exception.
Step Throws(const Step& step)
{
    return [=](JourneyRun& run) { EXPECT_THROW(step(run), std::runtime_error); };
}

/// The first `count` lines of a begun installation.
Lines BegunTo(std::size_t count)
{
    Lines lines = Begun("3.0.0.0", "2.0.0.0", "rootfs.0");
    lines.resize(count);
    return lines;
}

/// The store refuses a call of a request.
Journey Refused(
    const String& name, const String& call, const Step& request, const Lines& story,
    InstallationState state = InstallationState::Idle, const Step& before = [](JourneyRun&) {})
{
    return {.name = name,
            .steps = {Stage("3.0.0.0"), before, Refuse(call), request},
            .story = Staged("3.0.0.0") + story,
            .state = state,
            .pending = true};
}

/// The store refuses a call of a signal's handler, in an installation that RAUC holds.
Journey Untold(const String& name, const String& call,
               const std::function<void(Support::ScriptedRauc&)>& tell, const Lines& story)
{
    return {.name = name,
            .steps = {Stage("3.0.0.0"), Hold(0), Install("3.0.0.0"), Settle(), Refuse(call), Rauc(tell)},
            .story = Staged("3.0.0.0") + BegunTo(9) + Pending + Lines{"SetMessage ''"} + story,
            .state = InstallationState::Installing,
            .pending = true};
}

void AddRequests(std::vector<Journey>& rows)
{
    const auto install = [](ResultCode result) { return Install("3.0.0.0", result); };
    const auto noInstall = Answer("InstallBundle", ScriptedAnswer::Refusal("no"));
    const String noAnswer = "error DesktopBusMethod: Error: " + ScriptedAnswer::RefusalError + " - no";
    const String begin = "Failed to switch installation state to Installing.";
    const String save = "SetMessage 'Failed to save booted slot name.'";
    rows.push_back(Refused("Status", "GetStatus", install(ResultCode::GeneralError), {}));
    rows.push_back(Refused("NewStory", "SetMessage new", Throws(install(ResultCode::Ok)), BegunTo(1)));
    rows.push_back(Refused("DeletedTarget", "WriteProperty Target", install(ResultCode::GeneralError),
                           BegunTo(2) + Lines{"error: Failed to delete last installation property."}));
    rows.push_back(Refused("DeletedSlot", "WriteProperty InstallerSlot", install(ResultCode::GeneralError),
                           BegunTo(3) + Lines{"error: Failed to delete last installer slot name property."}));
    rows.push_back(Refused("DeletedRevert", "WriteProperty RevertedTo", install(ResultCode::GeneralError),
                           BegunTo(4) + Lines{"error: Failed to delete last reverted to property."}));
    rows.push_back(Refused("Begin", "BeginInstallation", install(ResultCode::OperationFailed),
                           BegunTo(5) + Lines{"SetMessage new '" + begin + "'", "error: " + begin}));
    rows.push_back(Refused("SavedTarget", "WriteProperty TargetSoftwareRevision=3",
                           install(ResultCode::OperationFailed), BegunTo(7) + Lines{"EndInstallation failed"},
                           InstallationState::Failed));
    rows.push_back(Refused("SavedSlot", "WriteProperty InstallerSlotName=r",
                           install(ResultCode::OperationFailed),
                           BegunTo(8) + Lines{save, "EndInstallation failed"}, InstallationState::Failed));
    rows.push_back(Refused(
        "Reason", "SetMessage 'Failed", Throws(install(ResultCode::Ok)),
        BegunTo(9) + Pending +
            Lines{noAnswer, "SetMessage 'Failed to start RAUC installation.'", "EndInstallation failed"},
        InstallationState::Failed, noInstall));
    rows.push_back(Refused(
        "End", "EndInstallation", Throws(install(ResultCode::Ok)),
        BegunTo(9) + Pending +
            Lines{noAnswer, "SetMessage 'Failed to start RAUC installation.'", "EndInstallation failed"},
        InstallationState::Installing, noInstall));
    rows.push_back(Refused("Resume", "ResumeInstallation", Resume(ResultCode::OperationFailed),
                           {"info: Resuming (from Installing)...", "ResumeInstallation"},
                           InstallationState::Failed, Stored(InstallationState::Failed, {})));
    rows.push_back(Refused("StatusOfAResume", "GetStatus", Resume(ResultCode::GeneralError), {}));
    rows.push_back(
        Refused("StatusOfAPackage", "GetStatus", Stage("4.0.0.0", {}, ResultCode::GeneralError), {}));
    rows.push_back(Refused("Slot", "ReadProperty", Throws(Revertible(true)), {}, InstallationState::Idle,
                           Stored(InstallationState::Idle, {}, true)));
    // After a delay nobody is there for the exception but the thread.
    auto delayed = DelayedBegin("3.0.0.0", "rootfs.0");
    delayed.insert(delayed.end(), {"debug: Start delayed installation.", BegunTo(9).back()});
    const auto delayedInstall = [](JourneyRun& run)
    {
        Install("3.0.0.0", ResultCode::Ok, 1)(run);
        EXPECT_TRUE(
            run.log->WaitForLine("error Thread: Thread 'RaucDelayInstall' ended by an exception: refused"));
    };
    rows.push_back(Refused(
        "ReasonAfterADelay", "SetMessage 'Failed", delayedInstall,
        delayed + Pending +
            Lines{noAnswer, "SetMessage 'Failed to start RAUC installation.'", "EndInstallation failed",
                  "error Thread: Thread 'RaucDelayInstall' ended by an exception: refused"},
        InstallationState::Failed, noInstall));
}

void AddHandlers(std::vector<Journey>& rows)
{
    const auto progress = [](auto& rauc) { rauc.EmitProgress(40, "Copying", 1); };
    const auto error = [](auto& rauc) { rauc.EmitLastError("broken"); };
    const auto completed = [](auto& rauc) { rauc.EmitCompleted(0); };
    const auto failed = [](auto& rauc) { rauc.EmitCompleted(1); };
    const auto all = [=](auto& rauc) { progress(rauc), error(rauc), failed(rauc); };
    rows.push_back(Untold("StatusInEachHandler", "GetStatus", all,
                          {"error: Failed to get updater status.", "error: Failed to get updater status.",
                           "error: Failed to get updater status"}));
    rows.push_back(
        Untold("ProgressText", "SetMessage 'Copying", progress,
               {"info: (1) 40%: Copying", "SetMessage 'Copying'", "error: OnProgressChanged: refused"}));
    rows.push_back(Untold("Progress", "SetProgress", progress, {}));
    rows.back().story = Staged("3.0.0.0") + BegunTo(9) + Installing("40%: Copying") +
                        Lines{"error: OnProgressChanged: refused"};
    rows.push_back(Untold(
        "LastError", "SetMessage 'broken", error,
        {"error: LastErrorChanged: broken", "SetMessage 'broken'", "error: OnLastErrorChanged: refused"}));
    rows.push_back(Untold(
        "EndOfAFailure", "EndInstallation", failed,
        {"info: Installation HasCompleted=false", "EndInstallation failed", "error: OnCompleted: refused"}));
    rows.push_back(Untold("Reboot", "SetMessage 'The device", completed,
                          {"info: Installation HasCompleted=true", "info: " + Rebooting,
                           "SetMessage '" + Rebooting + "'", "error: OnCompleted: refused"}));
    const String byHand = "Failed to reboot device. The restart must be triggered manually.";
    rows.push_back(
        {.name = "CompletedWithoutDeviceControl",
         .before = {[](JourneyRun& run) { run.platform.UnregisterDeviceControl(); }},
         .steps = {Stored(InstallationState::Installing, {}), Rauc(completed)},
         .story = {"error: Failed to subscribe to IDeviceControlService.",
                   "info: Installation HasCompleted=true",
                   "error: IDeviceControlService is missing. " + byHand, "SetMessage '" + byHand + "'"},
         .state = InstallationState::Installing});
}

} // namespace

std::vector<Journey> StoreJourneys()
{
    std::vector<Journey> rows;
    AddRequests(rows);
    AddHandlers(rows);
    return rows;
}

} // namespace Zel::Tests

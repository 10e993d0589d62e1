#include "Bus/RaucUpdater/RaucUpdaterModuleFixture.h"

#include "RaucUpdater/Internal/VersionManager.h"
#include "Zel/Exception.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{
namespace
{

using Internal::VersionManager;
using testing::ElementsAre;
using testing::IsEmpty;
using Tests::Support::ScriptedSlot;
using ModuleCompletionTest = RaucUpdaterModuleFixture;

const String Notification = "Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.";

String Succeeded(const String& version)
{
    return "Information " + Notification +
           "Succeeded (Software Update): Installation of firmware package (version: " + version +
           ") successful.";
}

String Failed(const String& version, const String& reason)
{
    return "Error " + Notification +
           "Failed (Software Update): Failed to install firmware package (version: " + version +
           "). Reason: " + reason + ".";
}

TEST_F(ModuleCompletionTest, AnUpdateSucceedsAfterTheRestartAndCanBeReverted)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    ASSERT_EQ(Install("3.0.0.0"), ResultCode::Ok);
    ASSERT_TRUE(platform.deviceControl->WaitForRestarts(1));
    RestartDevice();
    EXPECT_THAT(GetLog(LogLevel::Debug),
                testing::ElementsAre(
                    testing::StartsWith("debug RaucUpdaterModule: Initialize: /"),
                    "debug RaucUpdaterModule: CompleteInstallation",
                    "info RaucUpdaterModule: Expected version is '3.0.0.0'. Current version is "
                    "'3.0.0.0'.",
                    "info RaucUpdaterModule: Deleting pending firmware image " + platform.GetPendingPath()));
    EXPECT_THAT(platform.status->GetCalls(), ElementsAre("EndInstallation succeeded"));
    EXPECT_THAT(platform.notifications->GetLines(), ElementsAre(Succeeded("3.0.0.0")));
    EXPECT_FALSE(HasPendingBundle());
    SoftwareUpdateStatus status;
    EXPECT_EQ(module->GetStatus(Id, status), ResultCode::Ok);
    EXPECT_EQ(status.state, InstallationState::Idle);
    EXPECT_TRUE(status.revertible);

    platform.status->ClearCalls();
    log->Clear();
    EXPECT_EQ(module->RevertInstall(Id), ResultCode::Ok);
    EXPECT_THAT(GetLog(),
                ElementsAre("info RaucUpdaterModule: RevertInstall",
                            "warning RaucUpdaterModule: Going to switch back from slot 'rootfs.1' to "
                            "'rootfs.0'",
                            "info RaucUpdaterModule: The device is going to reboot."));
    EXPECT_THAT(platform.status->GetCalls(),
                ElementsAre("BeginInstallation revert", "WriteProperty RevertedTo=rootfs.0"));
    EXPECT_EQ(rauc.GetPrimary(), "rootfs.0");
    EXPECT_EQ(platform.deviceControl->GetRestarts(), 2);

    platform.notifications->Clear();
    RestartDevice();
    const String message = "Confirm has not been sent. Device switched back to slot 'rootfs.0'. Expected "
                           "version is '3.0.0.0'. Current version is '2.0.0.0'.";
    EXPECT_EQ(GetLog().back(), "error RaucUpdaterModule: " + message);
    EXPECT_THAT(platform.status->GetCalls(),
                ElementsAre("SetMessage '" + message + "'", "EndInstallation failed"));
    EXPECT_THAT(platform.notifications->GetLines(), ElementsAre(Failed("2.0.0.0", message)));
    EXPECT_EQ(module->RevertInstall(Id), ResultCode::AlreadyReverted);
    EXPECT_EQ(GetLog().back(),
              "info RaucUpdaterModule: The device has already been reverted to the installer "
              "slot 'rootfs.0'");
    EXPECT_EQ(module->GetStatus(Id, status), ResultCode::Ok);
    EXPECT_FALSE(status.revertible) << "there is nothing to go back to";
}

TEST_F(ModuleCompletionTest, TheFallbackVersionIsInstalledBySwitchingTheSlot)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    WaitForSignals();
    log->Clear();
    ASSERT_EQ(Install("1.0.0.0"), ResultCode::Ok);
    EXPECT_THAT(GetLog(), ElementsAre("info RaucUpdaterModule: Updating from version '2.0.0.0' to version "
                                      "'1.0.0.0'.",
                                      "info RaucUpdaterModule: The fallback version will be installed.",
                                      "info RaucUpdaterModule: The device is going to reboot."));
    EXPECT_EQ(rauc.GetPrimary(), "rootfs.1");
    EXPECT_EQ(platform.deviceControl->GetRestarts(), 1);
    EXPECT_EQ(GetMessage(), "The device is going to reboot.");
    RestartDevice();
    EXPECT_THAT(platform.status->GetCalls(), ElementsAre("EndInstallation succeeded"));
    EXPECT_THAT(platform.notifications->GetLines(), ElementsAre(Succeeded("1.0.0.0")));
}

/// What a module finds after the restart, and what it makes of it.
struct VerdictRow
{
    const char* name;
    String target;
    String installer;
    String revertedTo;
    /// Of the bundle in rootfs.0, the booted slot.
    String version;
    /// The last line of the log but the one about the pending bundle.
    String log;
    /// The status message, empty where none is written.
    String message;
    String notification;
    std::function<void(Tests::Support::ScriptedRauc&)> prepare = [](auto&) {};
};

class VerdictTest : public ModuleCompletionTest, public testing::WithParamInterface<VerdictRow>
{
};

TEST_P(VerdictTest, IsReachedOnceAndThePendingBundleIsDeleted)
{
    const VerdictRow& row = GetParam();
    rauc.SetSlots({ScriptedSlot("rootfs.0", "A", "booted").Written(row.version)});
    row.prepare(rauc);
    platform.folder.Write("pending.raucb", "bundle");
    platform.status->SetState(Id, InstallationState::Installing);
    for (const auto& [name, value] : {std::pair(VersionManager::PropertyTargetSoftwareRevision, row.target),
                                      std::pair(VersionManager::PropertyInstallerSlotName, row.installer),
                                      std::pair(VersionManager::PropertyRevertedTo, row.revertedTo)})
    {
        ASSERT_TRUE(platform.status->WriteProperty(Id, name, value, true));
    }
    platform.status->ClearCalls();
    CreateModule();

    auto lines = GetLog(LogLevel::Debug);
    EXPECT_EQ(lines.back(),
              "info RaucUpdaterModule: Deleting pending firmware image " + platform.GetPendingPath());
    EXPECT_EQ(lines[lines.size() - 2], row.log);
    auto calls = platform.status->GetCalls();
    const bool succeeded = row.notification.starts_with("Information");
    EXPECT_EQ(calls.back(), succeeded ? "EndInstallation succeeded" : "EndInstallation failed");
    calls.pop_back();
    EXPECT_EQ(calls,
              row.message.empty() ? std::vector<String>() : std::vector{"SetMessage '" + row.message + "'"});
    EXPECT_THAT(platform.notifications->GetLines(), ElementsAre(row.notification));
    EXPECT_FALSE(HasPendingBundle());
}

const String Equal = "Expected version is '2.0.0.0'. Current version is '2.0.0.0'.";
const String Unequal = "Expected version is '3.0.0.0'. Current version is '2.0.0.0'.";
const String SwitchedBack = "Confirm has not been sent. Device switched back to slot 'rootfs.0'. ";
const String StillThere = "The device did not boot the other slot and is still on slot 'rootfs.0'.";
const String NoTarget = "Failed to load target software revision.";
const String NoSystemInfo = "Failed to get the system info for a successful completion.";

void ForgetSlotStatus(Tests::Support::ScriptedRauc& rauc)
{
    rauc.SetAnswer("GetSlotStatus", Tests::Support::ScriptedAnswer::Refusal("no"));
}

void ForgetSlots(Tests::Support::ScriptedRauc& rauc)
{
    ForgetSlotStatus(rauc);
    rauc.SetAnswer("GetPrimary", Tests::Support::ScriptedAnswer::Refusal("no"));
}

INSTANTIATE_TEST_SUITE_P(
    Verdicts, VerdictTest,
    testing::Values(VerdictRow{"OnTheOtherSlot", "2.0.0.0", "rootfs.1", "", "2.0.0.0",
                               "info RaucUpdaterModule: " + Equal, "", Succeeded("2.0.0.0")},
                    VerdictRow{"WithoutInstaller", "2.0.0.0", "", "", "2.0.0.0",
                               "info RaucUpdaterModule: " + Equal, "", Succeeded("2.0.0.0")},
                    VerdictRow{"NotBooted", "2.0.0.0", "rootfs.0", "", "2.0.0.0",
                               "error RaucUpdaterModule: " + StillThere, StillThere,
                               Failed("2.0.0.0", StillThere)},
                    VerdictRow{"SwitchedBackToTheSameVersion", "2.0.0.0", "rootfs.0", "rootfs.0", "2.0.0.0",
                               "warning RaucUpdaterModule: " + SwitchedBack + Equal, SwitchedBack + Equal,
                               Failed("2.0.0.0", SwitchedBack + Equal)},
                    VerdictRow{"SwitchedBackToAnotherVersion", "3.0.0.0", "rootfs.0", "rootfs.0", "2.0.0.0",
                               "error RaucUpdaterModule: " + SwitchedBack + Unequal, SwitchedBack + Unequal,
                               Failed("2.0.0.0", SwitchedBack + Unequal)},
                    VerdictRow{"AnotherVersion", "3.0.0.0", "rootfs.0", "", "2.0.0.0",
                               "error RaucUpdaterModule: " + Unequal, Unequal, Failed("2.0.0.0", Unequal)},
                    VerdictRow{"NoTarget", "", "rootfs.1", "", "2.0.0.0",
                               "debug RaucUpdaterModule: CompleteInstallation", NoTarget,
                               Failed("unknown", NoTarget)},
                    VerdictRow{"NeverWrittenSlot", "2.0.0.0", "rootfs.1", "", "",
                               "info RaucUpdaterModule: " + Equal, "", Succeeded("2.0.0.0"),
                               [](auto& rauc) { rauc.SetSlots({ScriptedSlot("rootfs.0", "A", "booted")}); }},
                    VerdictRow{"PrimaryForBooted", "2.0.0.0", "rootfs.0", "", "9.0.0.0",
                               "error RaucUpdaterModule: " + StillThere, StillThere,
                               Failed("2.0.0.0", StillThere), &ForgetSlotStatus},
                    VerdictRow{"NoSlots", "2.0.0.0", "rootfs.1", "", "2.0.0.0",
                               "error RaucUpdaterModule: CompleteInstallation: " + NoSystemInfo, "",
                               Failed("2.0.0.0", NoSystemInfo), &ForgetSlots}),
    [](const auto& row) { return row.param.name; });

TEST_F(ModuleCompletionTest, InitializeFailsWithoutTheStatusAndCanBeDestroyed)
{
    platform.status->Refuse("GetStatus");
    try
    {
        CreateModule();
        FAIL() << "nothing was thrown";
    }
    catch (const Exception& exception)
    {
        EXPECT_EQ(exception.GetMessage(), "Failed to initialize state. Unable to get status information.");
    }
    module.reset();
    rauc.EmitCompleted(1);
    platform.status->Refuse("");
    CreateModule();
    EXPECT_THAT(platform.status->GetCalls(), IsEmpty());
}

TEST(ModuleWithoutBusTest, InitializeFails)
{
    auto& bus = Tests::Support::PrivateBus::OfProcess();
    const Tests::Support::ModulePlatform platform;
    const auto getFailure = [&]
    {
        RaucUpdaterModule module;
        try
        {
            module.Initialize(platform.WriteSettings(), platform.status);
        }
        catch (const Exception& exception)
        {
            return exception.GetMessage();
        }
        return String("no exception");
    };
    bus.Kill();
    // The first attempt may find the connection that libdbus has kept, and sees only then that it is dead.
    static_cast<void>(getFailure());
    EXPECT_EQ(getFailure(), "Failed to open D-BUS.");
    bus.Start();
    EXPECT_EQ(getFailure(), "no exception");
}

/// A revert that is refused, or has nothing to do.
class RevertTest : public RaucUpdaterModuleFixture
{
protected:
    /// A module after an installation from `installer`, on rootfs.0.
    void Prepare(const String& installer, const String& settings = "")
    {
        module.reset();
        platform.status->Refuse("");
        platform.status->SetState(Id, InstallationState::Failed, true);
        ASSERT_TRUE(
            platform.status->WriteProperty(Id, VersionManager::PropertyInstallerSlotName, installer, true));
        CreateModule(settings);
        platform.status->SetMessage(Id, "broken", false);
        platform.status->ClearCalls();
        log->Clear();
    }

    void ExpectRevert(ResultCode result, const String& lastLine)
    {
        EXPECT_EQ(module->RevertInstall(Id), result);
        EXPECT_EQ(GetLog().back(), lastLine);
        EXPECT_EQ(platform.deviceControl->GetRestarts(), 0);
    }
};

TEST_F(RevertTest, NeedsAnInstallerSlotAndTheRunningSlot)
{
    Prepare("");
    ExpectRevert(ResultCode::InvalidState,
                 "error RaucUpdaterModule: Unable to get installer slot name properties.");
    SoftwareUpdateStatus status;
    EXPECT_EQ(module->GetStatus(Id, status), ResultCode::Ok);
    EXPECT_FALSE(status.revertible);

    ForgetSlots(rauc);
    Prepare("rootfs.1");
    ExpectRevert(ResultCode::GeneralError,
                 "error RaucUpdaterModule: Failed to get booted as well as primary slot.");
    EXPECT_EQ(module->GetStatus(Id, status), ResultCode::Ok);
    EXPECT_TRUE(status.revertible);
    EXPECT_EQ(GetLog().back(),
              "error RaucUpdaterModule: GetStatus: Failed to get neither booted nor primary slot.");
    Prepare("rootfs.1", "<ValidateBootedSlot fallbackOnPrimary='false'>true</ValidateBootedSlot>");
    ExpectRevert(ResultCode::GeneralError, "error RaucUpdaterModule: Failed to get booted slot.");
    EXPECT_EQ(module->GetStatus(Id, status), ResultCode::Ok);
    EXPECT_EQ(GetLog().back(), "error RaucUpdaterModule: GetStatus: Failed to get booted slot.");

    rauc.SetAnswer("GetPrimary", ScriptedAnswer::Texts({""}));
    Prepare("rootfs.1");
    ExpectRevert(ResultCode::GeneralError, "error RaucUpdaterModule: Slot name is unknown.");
}

TEST_F(RevertTest, HasNothingToDoOnTheInstallerSlot)
{
    Prepare("rootfs.0");
    ExpectRevert(ResultCode::Ok,
                 "warning RaucUpdaterModule: The device is still on the installer slot 'rootfs.0'");
    EXPECT_THAT(platform.status->GetCalls(), IsEmpty());
}

TEST_F(RevertTest, StopsAtEveryRefusal)
{
    Prepare("rootfs.1");
    platform.status->Refuse("GetStatus");
    ExpectRevert(ResultCode::GeneralError, "info RaucUpdaterModule: RevertInstall");
    platform.status->Refuse("ResumeInstallation");
    ExpectRevert(ResultCode::GeneralError,
                 "error RaucUpdaterModule: Installation Error - UpdateStatus: broken");
    platform.status->Refuse("BeginInstallation");
    ExpectRevert(ResultCode::GeneralError,
                 "error RaucUpdaterModule: Failed to switch installation state to Installing.");
    EXPECT_EQ(GetState(), InstallationState::Idle);
    platform.status->Refuse("");
    rauc.SetAnswer("Mark", ScriptedAnswer::Refusal("no"));
    ExpectRevert(ResultCode::GeneralError, "error RaucUpdaterModule: Failed to switch to slot rootfs.1.");
    EXPECT_EQ(GetState(), InstallationState::Installing) << "the next start completes it";
    EXPECT_THAT(platform.status->GetCalls(),
                ElementsAre("ResumeInstallation", "ResumeInstallation", "BeginInstallation revert",
                            "BeginInstallation revert"));
}

TEST_F(RevertTest, GoesOnWithoutItsPropertyAndReportsAMissingDeviceControl)
{
    platform.UnregisterDeviceControl();
    Prepare("rootfs.1");
    platform.status->Refuse("WriteProperty");
    EXPECT_EQ(module->RevertInstall(Id), ResultCode::OperationFailed);
    EXPECT_EQ(rauc.GetPrimary(), "rootfs.1");
    const auto lines = GetLog();
    EXPECT_THAT(
        (std::vector<String>(lines.end() - 2, lines.end())),
        ElementsAre("error RaucUpdaterModule: Failed to write PropertyRevertedTo.",
                    "error RaucUpdaterModule: IDeviceControlService is missing. Failed to reboot device. "
                    "The restart must be triggered manually."));
    EXPECT_EQ(GetMessage(), "broken") << "a revert writes no message";
}

TEST_F(RevertTest, LogsAnExceptionAndReturns)
{
    class BrokenStatus : public Tests::Support::FakeUpdaterStatus
    {
    public:
        void ReadProperty(const String& /*id*/, const String& /*name*/, String& /*value*/) override
        {
            throw Exception("unreadable");
        }
    };

    module = std::make_unique<RaucUpdaterModule>();
    module->Initialize(platform.WriteSettings(), std::make_shared<BrokenStatus>());
    ExpectRevert(ResultCode::OperationFailed,
                 "error RaucUpdaterModule: RevertInstall: Zel::Exception: unreadable");
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

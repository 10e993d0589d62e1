#include "Bus/RaucUpdater/RaucUpdaterModuleFixture.h"

#include "Zel/System/Commons/ArgumentException.h"

#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <stdexcept>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{
namespace
{

using System::Commons::ArgumentException;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using ModuleInstallationTest = RaucUpdaterModuleFixture;

TEST_F(ModuleInstallationTest, FollowsAnInstallationFromTheRequestToTheOrderOfTheRestart)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    // What RAUC tells of its check of the bundle would otherwise be read with the installation's progress.
    WaitForSignals();
    log->Clear();
    ASSERT_EQ(Install("3.0.0.0"), ResultCode::Ok);
    ASSERT_TRUE(platform.deviceControl->WaitForRestarts(1));

    auto calls = platform.status->GetCalls();
    const std::vector<String> begin(calls.begin(), calls.begin() + 12);
    EXPECT_THAT(begin,
                ElementsAre("SetMessage new ''", "WriteProperty TargetSoftwareRevision=",
                            "WriteProperty InstallerSlotName=", "WriteProperty RevertedTo=",
                            "BeginInstallation installation", "WriteProperty TargetSoftwareRevision=3.0.0.0",
                            "WriteProperty InstallerSlotName=rootfs.0", "SetMessage ''",
                            "SetMessage 'Installing'", "SetProgress 0",
                            "SetMessage 'Determining slot states'", "SetProgress 0"));
    const std::vector<String> end(calls.end() - 3, calls.end());
    EXPECT_THAT(end, ElementsAre("SetMessage 'Installing done.'", "SetProgress 100",
                                 "SetMessage 'The device is going to reboot.'"));
    auto lines = GetLog(LogLevel::Debug);
    ASSERT_EQ(lines.size(), 23U);
    lines.erase(lines.begin() + 5, lines.end() - 4);
    EXPECT_THAT(lines, ElementsAre("debug RaucUpdaterModule: Installing...",
                                   "info RaucUpdaterModule: Updating from version '2.0.0.0' to version "
                                   "'3.0.0.0'.",
                                   "info RaucUpdaterModule: The pending version will be installed.",
                                   "info RaucUpdaterModule: (1) 0%: Installing",
                                   "info RaucUpdaterModule: (2) 0%: Determining slot states",
                                   "info RaucUpdaterModule: (2) 99%: Updating slots done.",
                                   "info RaucUpdaterModule: (1) 100%: Installing done.",
                                   "info RaucUpdaterModule: Installation HasCompleted=true",
                                   "info RaucUpdaterModule: The device is going to reboot."));
    EXPECT_THAT(rauc.GetCalls(),
                Contains(ScriptedCall{
                    "InstallBundle", {platform.GetPendingPath(), "[{ignore-compatible=false}]"}, "sa{sv}"}));
    EXPECT_EQ(GetState(), InstallationState::Installing) << "decided after the restart only";
    EXPECT_THAT(platform.notifications->GetLines(), IsEmpty());
}

TEST_F(ModuleInstallationTest, AFailureOfRaucEndsTheInstallationWithItsError)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    String revision;
    ASSERT_EQ(GetRevision(Type::Fallback, revision), ResultCode::Ok);
    ASSERT_EQ(revision, "1.0.0.0");
    rauc.LetInstallationFail("signature verification failed");
    ASSERT_EQ(Install("3.0.0.0"), ResultCode::Ok);
    ASSERT_TRUE(platform.status->WaitForCall("EndInstallation failed"));

    EXPECT_EQ(GetState(), InstallationState::Failed);
    EXPECT_EQ(GetMessage(), "signature verification failed");
    const auto lines = GetLog();
    EXPECT_THAT((std::vector<String>(lines.end() - 2, lines.end())),
                ElementsAre("error RaucUpdaterModule: LastErrorChanged: signature verification failed",
                            "info RaucUpdaterModule: Installation HasCompleted=false"));
    EXPECT_EQ(platform.deviceControl->GetRestarts(), 0);
    rauc.SetSlots({});
    EXPECT_EQ(GetRevision(Type::Fallback, revision), ResultCode::OperationFailed) << "asked again";

    EXPECT_EQ(Install("3.0.0.0"), ResultCode::InvalidState);
    EXPECT_EQ(GetLog(LogLevel::Debug).back(), "debug RaucUpdaterModule: Invalid state Failed");
    platform.status->Refuse("ResumeInstallation");
    EXPECT_EQ(module->ResumeInstall(Id), ResultCode::OperationFailed);
    platform.status->Refuse("");
    EXPECT_EQ(module->ResumeInstall(Id), ResultCode::Ok);
    EXPECT_EQ(GetLog().back(), "info RaucUpdaterModule: Resuming (from Installing)...");
    EXPECT_EQ(module->ResumeInstall(Id), ResultCode::InvalidState);
    EXPECT_EQ(GetState(), InstallationState::Idle);
}

/// An installation that RAUC does not begin.
struct RefusalRow
{
    const char* name;
    std::function<void(Tests::Support::ScriptedRauc&)> prepare;
    const char* revision;
    Services::SoftwareUpdate::ResultCode result;
    String message;
    /// Whether the message is logged as an error, too.
    bool isLogged;
};

class RefusedInstallationTest : public ModuleInstallationTest, public testing::WithParamInterface<RefusalRow>
{
};

TEST_P(RefusedInstallationTest, EndsItAsFailedWithTheReason)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    String revision;
    ASSERT_EQ(GetRevision(Type::Fallback, revision), ResultCode::Ok);
    GetParam().prepare(rauc);

    for (const long long delay : {0, 1})
    {
        platform.status->ClearCalls();
        log->Clear();
        const ResultCode result = Install(GetParam().revision, delay);
        EXPECT_EQ(result, delay == 0 ? GetParam().result : ResultCode::Ok);
        ASSERT_TRUE(platform.status->WaitForCall("EndInstallation failed"));
        const auto calls = platform.status->GetCalls();
        EXPECT_EQ(calls[calls.size() - 2], "SetMessage '" + GetParam().message + "'");
        EXPECT_EQ(GetState(), InstallationState::Failed);
        EXPECT_EQ(GetLog(LogLevel::Error).empty(), !GetParam().isLogged);
        if (GetParam().isLogged)
        {
            EXPECT_THAT(GetLog(), Contains("error RaucUpdaterModule: " + GetParam().message));
        }
        EXPECT_EQ(module->ResumeInstall(Id), ResultCode::Ok);
    }
    // No longer its own installation: what RAUC tells is not passed on.
    platform.status->SetState(Id, InstallationState::Installing);
    platform.status->ClearCalls();
    rauc.EmitProgress(10, "someone else's", 1);
    WaitForSignals();
    EXPECT_THAT(platform.status->GetCalls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedInstallationTest,
    testing::Values(RefusalRow{"Busy", [](auto& rauc) { rauc.EmitOperation("installing"); }, "3.0.0.0",
                               Services::SoftwareUpdate::ResultCode::InvalidState,
                               "Failed to start RAUC installation. Invalid RAUC state.", true},
                    RefusalRow{"InstallRefused",
                               [](auto& rauc) {
                                   rauc.SetAnswer("InstallBundle",
                                                  Tests::Support::ScriptedAnswer::Refusal("no"));
                               },
                               "3.0.0.0", Services::SoftwareUpdate::ResultCode::OperationFailed,
                               "Failed to start RAUC installation.", false},
                    RefusalRow{"NoOtherSlot", [](auto& rauc) { rauc.SetSlots({}); }, "1.0.0.0",
                               Services::SoftwareUpdate::ResultCode::OperationFailed,
                               "Failed to determine fallback version.", true},
                    RefusalRow{"MarkRefused",
                               [](auto& rauc)
                               { rauc.SetAnswer("Mark", Tests::Support::ScriptedAnswer::Refusal("no")); },
                               "1.0.0.0", Services::SoftwareUpdate::ResultCode::OperationFailed,
                               "Failed to switch slot to fallback version.", true}),
    [](const auto& row) { return row.param.name; });

TEST_F(ModuleInstallationTest, CountsDownToADelayedInstallationAndRefusesAllElseMeanwhile)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    rauc.HoldInstallation();
    log->Clear();
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(Install("3.0.0.0", 2600), ResultCode::Ok);
    EXPECT_THAT(GetLog(),
                ElementsAre(testing::MatchesRegex(
                    "info RaucUpdaterModule: The Pending version 3.0.0.0 is going to be installed at "
                    "[0-9]{4}-[0-9-]{5}T[0-9:]{8}(\\.[0-9]+)?\\.")));

    EXPECT_EQ(Install("3.0.0.0"), ResultCode::InvalidState);
    EXPECT_EQ(GetLog(LogLevel::Debug).back(), "debug RaucUpdaterModule: Invalid state Installing");
    String message;
    EXPECT_EQ(module->SetSoftwarePackage(Id, Type::Pending, "/nowhere", message), ResultCode::InvalidState);
    EXPECT_EQ(message, "Installation is in progress.");
    EXPECT_EQ(module->GetSoftwarePackage(Id, Type::Pending, "/nowhere"), ResultCode::InvalidState);
    EXPECT_EQ(module->RevertInstall(Id), ResultCode::InvalidState);
    EXPECT_EQ(GetLog().back(),
              "error RaucUpdaterModule: RAUC installation cannot be reverted. Installation is "
              "still in progress.");

    ASSERT_TRUE(platform.status->WaitForCall(
        "SetMessage 'The version 3.0.0.0 is going to be installed in 1 seconds.'"));
    ASSERT_TRUE(rauc.WaitForCalls("InstallBundle"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2600));
    EXPECT_THAT(GetLog(LogLevel::Debug), Contains("debug RaucUpdaterModule: Start delayed installation."));
    EXPECT_THAT(platform.status->GetCalls(), Not(Contains(testing::HasSubstr("in 0 seconds"))));
    EXPECT_EQ(GetState(), InstallationState::Installing);
}

TEST_F(ModuleInstallationTest, ADestroyedModuleTakesADelayedInstallationAlong)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    ASSERT_EQ(Install("3.0.0.0", std::numeric_limits<long long>::max()), ResultCode::Ok);
    const auto begin = std::chrono::steady_clock::now();
    module.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_THAT(
        log->GetLinesOf("ScheduledExecutorService"),
        ElementsAre("debug ScheduledExecutorService: Timer 'RaucDelayInstall' is running.",
                    "debug ScheduledExecutorService: Timer 'RaucDelayInstall' has been interrupted."));
    EXPECT_FALSE(rauc.WaitForCalls("InstallBundle", 1, std::chrono::milliseconds(0)));
    EXPECT_EQ(GetState(), InstallationState::Installing);
}

TEST_F(ModuleInstallationTest, AnExceptionEndsTheInstallationAsFailed)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    rauc.EmitOperation("installing");
    platform.status->Refuse("SetMessage 'Failed to start RAUC installation.");
    EXPECT_THROW(static_cast<void>(Install("3.0.0.0")), std::runtime_error);
    EXPECT_EQ(GetState(), InstallationState::Failed);

    ASSERT_EQ(module->ResumeInstall(Id), ResultCode::Ok);
    ASSERT_EQ(Install("3.0.0.0", 1), ResultCode::Ok);
    EXPECT_TRUE(log->WaitForLine("error Thread: Thread 'RaucDelayInstall' ended by an exception: refused"));
    EXPECT_EQ(GetState(), InstallationState::Failed);
}

/// What the status store refuses of a request.
struct StoreRow
{
    const char* refused;
    Services::SoftwareUpdate::ResultCode result;
    /// The last line of the module's or version manager's log at error level, empty for none.
    String log;
    Services::SoftwareUpdate::InstallationState state;
};

TEST_F(ModuleInstallationTest, ARefusalOfTheStatusStoreStopsTheRequestThere)
{
    const StoreRow rows[] = {
        {"GetStatus", ResultCode::GeneralError, "", InstallationState::Idle},
        {"WriteProperty TargetSoftwareRevision=", ResultCode::GeneralError,
         "error RaucUpdaterModule: Failed to delete last installation property.", InstallationState::Idle},
        {"WriteProperty InstallerSlotName=", ResultCode::GeneralError,
         "error RaucUpdaterModule: Failed to delete last installer slot name property.",
         InstallationState::Idle},
        {"WriteProperty RevertedTo=", ResultCode::GeneralError,
         "error RaucUpdaterModule: Failed to delete last reverted to property.", InstallationState::Idle},
        {"BeginInstallation", ResultCode::OperationFailed,
         "error RaucUpdaterModule: Failed to switch installation state to Installing.",
         InstallationState::Idle},
        {"WriteProperty TargetSoftwareRevision=3", ResultCode::OperationFailed, "",
         InstallationState::Failed},
        {"WriteProperty InstallerSlotName=rootfs", ResultCode::OperationFailed, "",
         InstallationState::Failed}};
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    for (const StoreRow& row : rows)
    {
        log->Clear();
        platform.status->SetState(Id, InstallationState::Idle);
        platform.status->Refuse(row.refused);
        EXPECT_EQ(Install("3.0.0.0"), row.result) << row.refused;
        const auto lines = GetLog(LogLevel::Error);
        EXPECT_EQ(lines.empty() ? "" : lines.back(), row.log) << row.refused;
        EXPECT_EQ(GetState(), row.state) << row.refused;
    }
    EXPECT_FALSE(rauc.WaitForCalls("InstallBundle", 1, std::chrono::milliseconds(0)));
    EXPECT_EQ(GetMessage(), "Failed to save booted slot name.");
}

TEST_F(ModuleInstallationTest, AVersionThatIsNowhereIsRefusedWithTheReason)
{
    CreateModule();
    Version version = MakeVersion("9.0.0.0");
    version.patchIdentifiers = {"A", "B"};
    const String noPackage = "There is not a software package with software revision '9.0.0.0' and patch "
                             "identifiers 'A,B'. ";
    EXPECT_EQ(module->InstallSoftwarePackage(Id, version, 0), ResultCode::NotFound);
    EXPECT_THAT(platform.status->GetCalls(),
                ElementsAre("SetMessage new ''", "SetMessage new '" + noPackage + "'"));
    EXPECT_EQ(GetLog().back(), "error RaucUpdaterModule: " + noPackage);

    EXPECT_EQ(module->InstallSoftwarePackage(Id, MakeVersion("1.0.0.0", "https://other.example"), 0),
              ResultCode::NotFound);
    EXPECT_EQ(GetMessage(), "'https://other.example' does not match the expected manufacturer URI "
                            "'https://corvane.example'.");
    EXPECT_EQ(GetState(), InstallationState::Idle);
}

TEST_F(ModuleInstallationTest, AStateWithoutNameThrows)
{
    CreateModule();
    platform.status->SetState(Id, static_cast<InstallationState>(7));
    try
    {
        static_cast<void>(Install("1.0.0.0"));
        FAIL() << "nothing was thrown";
    }
    catch (const Exception& exception)
    {
        EXPECT_THAT(exception.GetMessage(), StartsWith("Invalid value for Enum '"));
        EXPECT_THAT(exception.GetMessage(), testing::EndsWith("' occurs: 7"));
    }
}

TEST_F(ModuleInstallationTest, TellsTheBehaviourOfThePendingAndTheFallbackVersion)
{
    using Services::SoftwareUpdate::UpdateBehavior;
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    const auto getBehavior = [&](const String& revision, ResultCode expected)
    {
        auto behavior = static_cast<UpdateBehavior>(0xFF);
        EXPECT_EQ(module->GetUpdateBehavior(Id, ModulePlatform::ManufacturerUri, revision, {}, behavior),
                  expected);
        return static_cast<std::uint32_t>(behavior);
    };
    EXPECT_EQ(getBehavior("3.0.0.0", ResultCode::Ok), 0x1BU);
    EXPECT_EQ(getBehavior("1.0.0.0", ResultCode::Ok), 0x1BU);
    EXPECT_EQ(getBehavior("2.0.0.0", ResultCode::NotFound), 0U);
    EXPECT_EQ(getBehavior(String(511, '1'), ResultCode::NotFound), 0U);
    EXPECT_THROW(getBehavior(String(512, '1'), ResultCode::Ok), ArgumentException);
    platform.UnregisterDeviceInfo();
    module.reset();
    module = std::make_unique<RaucUpdaterModule>();
    module->Initialize(platform.WriteSettings(), platform.status);
    auto behavior = UpdateBehavior::WillReboot;
    EXPECT_EQ(module->GetUpdateBehavior("", "", "", {}, behavior), ResultCode::GeneralError);
    EXPECT_EQ(behavior, UpdateBehavior::None);
    Version version;
    EXPECT_EQ(module->GetSoftwareVersion("", Type::Fallback, version), ResultCode::GeneralError);
}

TEST_F(ModuleInstallationTest, EveryOperationKnowsItsComponentWhateverTheLetterCase)
{
    using Services::SoftwareUpdate::UpdateBehavior;
    CreateModule();
    log->Clear();
    UpdateBehavior behavior{};
    Version version;
    String message = "left over";
    SoftwareUpdateStatus status;
    const auto getResults = [&](const String& id)
    {
        return std::vector<ResultCode>{module->GetUpdateBehavior(id, "", "", {}, behavior),
                                       module->GetSoftwareVersion(id, Type::Current, version),
                                       module->SetSoftwarePackage(id, Type::Pending, "/nowhere", message),
                                       module->GetSoftwarePackage(id, Type::Pending, "/nowhere"),
                                       module->InstallSoftwarePackage(id, MakeVersion("9.0.0.0"), 0),
                                       module->GetStatus(id, status),
                                       module->ResumeInstall(id),
                                       module->RevertInstall(id)};
    };
    EXPECT_THAT(getResults("Controllers"), testing::Each(ResultCode::InvalidArgument));
    EXPECT_EQ(message, "");
    EXPECT_THAT(
        GetLog(LogLevel::Debug),
        Contains("debug RaucUpdaterModule: The component ID 'Controllers' is not supported. Expecting "
                 "'Controller'")
            .Times(8));
    EXPECT_THAT(getResults("cONTROLLER"),
                ElementsAre(ResultCode::NotFound, ResultCode::Ok, ResultCode::NotFound,
                            ResultCode::NotSupported, ResultCode::NotFound, ResultCode::Ok,
                            ResultCode::InvalidState, ResultCode::InvalidState));
}

TEST_F(ModuleInstallationTest, WithoutDeviceControlNothingIsInstalledAndTheRestartIsLeftToTheUser)
{
    platform.UnregisterDeviceControl();
    CreateModule();
    EXPECT_THAT(GetLog(LogLevel::Error),
                ElementsAre("error RaucUpdaterModule: Failed to subscribe to IDeviceControlService."));
    EXPECT_EQ(Install("1.0.0.0"), ResultCode::OperationFailed);
    EXPECT_EQ(GetLog().back(), "error RaucUpdaterModule: IDeviceControlService is missing.");

    platform.status->SetState(Id, InstallationState::Installing);
    rauc.EmitCompleted(0);
    ASSERT_TRUE(platform.status->WaitForCall(
        "SetMessage 'Failed to reboot device. The restart must be triggered manually.'"));
    EXPECT_EQ(GetLog().back(), "error RaucUpdaterModule: IDeviceControlService is missing. Failed to reboot "
                               "device. The restart must be triggered manually.");
}

TEST_F(ModuleInstallationTest, SignalsOutsideOfItsOwnInstallationChangeNothing)
{
    CreateModule();
    log->Clear();
    for (const auto state : {InstallationState::Idle, InstallationState::Failed})
    {
        platform.status->SetState(Id, state);
        rauc.EmitProgress(40, "Copying", 1);
        rauc.EmitLastError("broken");
        rauc.EmitCompleted(1);
        WaitForSignals();
    }
    platform.status->SetState(Id, InstallationState::Installing);
    rauc.EmitProgress(40, "Copying", 1);
    rauc.EmitLastError("broken");
    WaitForSignals();
    EXPECT_THAT(platform.status->GetCalls(), IsEmpty());
    EXPECT_THAT(GetLog(LogLevel::Trace), IsEmpty());
}

TEST_F(ModuleInstallationTest, HandlersLogWhatTheStatusStoreRefusesAndGoOn)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    rauc.HoldInstallation();
    ASSERT_EQ(Install("3.0.0.0"), ResultCode::Ok);
    WaitForSignals();
    log->Clear();
    platform.status->Refuse("GetStatus");
    rauc.EmitProgress(40, "Copying", 1);
    rauc.EmitLastError("broken");
    rauc.EmitCompleted(1);
    WaitForSignals();
    EXPECT_THAT(GetLog(), ElementsAre("error RaucUpdaterModule: Failed to get updater status.",
                                      "error RaucUpdaterModule: Failed to get updater status.",
                                      "error RaucUpdaterModule: Failed to get updater status"));
    log->Clear();
    platform.status->Refuse("SetMessage");
    rauc.EmitProgress(40, "Copying", 1);
    rauc.EmitLastError("");
    WaitForSignals();
    platform.status->Refuse("EndInstallation");
    rauc.EmitCompleted(1);
    WaitForSignals();
    EXPECT_THAT(GetLog(), ElementsAre("info RaucUpdaterModule: (1) 40%: Copying",
                                      "error RaucUpdaterModule: OnProgressChanged: refused",
                                      "error RaucUpdaterModule: OnLastErrorChanged: refused",
                                      "info RaucUpdaterModule: Installation HasCompleted=false",
                                      "error RaucUpdaterModule: OnCompleted: refused"));
}

TEST_F(ModuleInstallationTest, AnswersItsCallersWhileABurstOfSignalsArrives)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    std::atomic<bool> ended = false;
    const auto askUntilEnded = [&]
    {
        SoftwareUpdateStatus status;
        String revision;
        int count = 0;
        for (; !ended; ++count)
        {
            static_cast<void>(module->GetStatus(Id, status));
            static_cast<void>(GetRevision(Type::Fallback, revision));
            static_cast<void>(GetRevision(Type::Pending, revision));
        }
        return count;
    };
    platform.status->SetState(Id, InstallationState::Idle, true);
    auto first = std::async(std::launch::async, askUntilEnded);
    auto second = std::async(std::launch::async, askUntilEnded);
    for (int i = 0; i < 3; ++i)
    {
        rauc.LetInstallationFail("broken");
        EXPECT_EQ(Install("3.0.0.0"), ResultCode::Ok);
        EXPECT_TRUE(platform.status->WaitForCall("EndInstallation failed"));
        platform.status->ClearCalls();
        EXPECT_EQ(module->ResumeInstall(Id), ResultCode::Ok);
    }
    ended = true;
    EXPECT_GT(first.get(), 0);
    EXPECT_GT(second.get(), 0);
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

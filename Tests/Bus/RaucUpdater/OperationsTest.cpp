#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "RaucUpdater/RaucUpdaterModule.h"
#include "Zel/Exception.h"
#include "Zel/System/Commons/ArgumentException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <limits>

namespace Zel::Tests
{

namespace
{

using Services::SoftwareUpdate::SoftwareUpdateStatus;
using Services::SoftwareUpdate::UpdateBehavior;
using Support::ScriptedSlot;
using System::Commons::ArgumentException;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;

/// A module that is asked directly.
class OperationsTest : public testing::Test
{
protected:
    /// Returns the message with which the module does not start, empty when it does.
    String GetStartFailure()
    {
        try
        {
            run.CreateModule();
            return "";
        }
        catch (const std::exception& exception)
        {
            run.module.reset();
            return exception.what();
        }
    }

    ResultCode GetBehavior(const String& revision, UpdateBehavior& behavior)
    {
        return run.module->GetUpdateBehavior("Controller", run.platform.ManufacturerUri, revision, {},
                                             behavior);
    }

    std::ptrdiff_t CountCalls(const String& member)
    {
        return std::ranges::count(device.rauc.GetCalls(), member, &Support::ScriptedCall::member);
    }

    const Journey row{};
    ScriptedDevice device;
    JourneyRun run{device, row};
};

TEST_F(OperationsTest, EachKnowsItsComponentWhateverTheLetterCase)
{
    run.CreateModule();
    const auto getResults = [&](const String& id)
    {
        UpdateBehavior behavior = UpdateBehavior::WillReboot;
        Version version;
        version.softwareManufacturerUri = run.platform.ManufacturerUri;
        String message = "left over";
        SoftwareUpdateStatus status;
        std::vector<ResultCode> results = {
            run.module->GetUpdateBehavior(id, "", "", {}, behavior),
            run.module->SetSoftwarePackage(id, FileType::Pending, "/nowhere", message),
            run.module->GetSoftwarePackage(id, FileType::Pending, "/nowhere"),
            run.module->SetSoftwarePackage(id, FileType::Current, "/", message),
            run.module->InstallSoftwarePackage(id, version, 0),
            run.module->GetStatus(id, status),
            run.module->ResumeInstall(id),
            run.module->RevertInstall(id),
            run.module->GetSoftwareVersion(id, FileType::Current, version)};
        EXPECT_EQ(behavior, UpdateBehavior::None);
        EXPECT_EQ(message, id == "Controllers" ? "" : "Unsupported file type Current");
        EXPECT_EQ(run.module->SetUpdateKey(id, {}), ResultCode::NotSupported);
        return results;
    };
    EXPECT_THAT(getResults("Controllers"), Each(ResultCode::InvalidArgument));
    EXPECT_THAT(
        run.GetStory(),
        Contains("debug: The component ID 'Controllers' is not supported. Expecting 'Controller'").Times(9));
    EXPECT_THAT(getResults("cONTROLLER"),
                ElementsAre(ResultCode::NotFound, ResultCode::NotFound, ResultCode::NotSupported,
                            ResultCode::NotSupported, ResultCode::NotFound, ResultCode::Ok,
                            ResultCode::InvalidState, ResultCode::InvalidState, ResultCode::Ok));
}

TEST_F(OperationsTest, WithoutDeviceInfoTheVersionsAreUnknownAndNothingElseFails)
{
    run.platform.UnregisterDeviceInfo();
    run.CreateModule();
    EXPECT_THAT(run.GetStory(), ElementsAre("error: Failed to subscribe to IDeviceInfoService."));
    auto behavior = UpdateBehavior::WillReboot;
    Version version;
    EXPECT_EQ(run.module->GetUpdateBehavior("", "", "", {}, behavior), ResultCode::GeneralError);
    EXPECT_EQ(run.module->GetSoftwareVersion("", FileType::Fallback, version), ResultCode::GeneralError);
    EXPECT_EQ(run.module->GetSoftwareVersion("", FileType::Current, version), ResultCode::OperationFailed);
    EXPECT_EQ(run.module->InstallSoftwarePackage("", version, 0), ResultCode::NotFound);
    EXPECT_EQ(run.module->RevertInstall(""), ResultCode::InvalidState);
}

TEST_F(OperationsTest, DoesNotStartWithoutStatusOrBusAndCanBeDestroyed)
{
    run.platform.status->SetState("Controller", InstallationState::Installing);
    const std::pair<const char*, const char*> rows[] = {
        {"GetStatus", "Failed to initialize state. Unable to get status information."},
        {"ReadProperty", "refused"},
        {"SetMessage", "refused"},
        {"EndInstallation", "refused"}};
    for (const auto& [refused, failure] : rows)
    {
        run.platform.status->Refuse(refused);
        EXPECT_EQ(GetStartFailure(), failure) << refused;
        device.rauc.EmitCompleted(1);
    }
    run.platform.status->Refuse("");
    EXPECT_EQ(GetStartFailure(), "");
    run.module.reset();
    auto& bus = Support::PrivateBus::OfProcess();
    bus.Kill();
    // The first attempt may find the connection that libdbus has kept, and sees only then that it is dead.
    static_cast<void>(GetStartFailure());
    EXPECT_EQ(GetStartFailure(), "Failed to open D-BUS.");
    bus.Start();
    EXPECT_EQ(GetStartFailure(), "");
}

TEST_F(OperationsTest, TextsOf511CharactersAreTakenAndOf512RefusedAtEachField)
{
    run.CreateModule();
    const String longest(511, '4');
    const String tooLong(512, '4');
    auto behavior = UpdateBehavior::None;
    Stage(longest)(run);
    EXPECT_EQ(run.GetVersion(FileType::Pending), longest);
    EXPECT_EQ(GetBehavior(longest, behavior), ResultCode::Ok);
    EXPECT_EQ(static_cast<std::uint32_t>(behavior), 0x1BU);
    EXPECT_EQ(GetBehavior("1.0.0.0", behavior), ResultCode::Ok);
    EXPECT_EQ(static_cast<std::uint32_t>(behavior), 0x1BU);
    EXPECT_EQ(GetBehavior("2.0.0.0", behavior), ResultCode::NotFound);
    EXPECT_THROW(static_cast<void>(GetBehavior(tooLong, behavior)), ArgumentException);
    EXPECT_THROW(static_cast<void>(run.module->GetUpdateBehavior("Controller", tooLong, "", {}, behavior)),
                 ArgumentException);
    EXPECT_THROW(
        static_cast<void>(run.module->GetUpdateBehavior("Controller", "", "", Lines{tooLong}, behavior)),
        ArgumentException);
    EXPECT_EQ(run.module->GetUpdateBehavior("Controller", longest, longest, {longest}, behavior),
              ResultCode::NotFound);
    Install(longest, ResultCode::Ok, 3'600'000)(run);
    run.module.reset();

    const std::function<void()> rows[] = {
        [&]
        {
            device.rauc.AddBundle("x", tooLong);
            run.platform.folder.Write("pending.raucb", "x");
        },
        [&] { device.rauc.SetSlots({ScriptedSlot("rootfs.1", "B", "inactive").Written(tooLong)}); },
        [&] { run.platform.deviceInfo->Set("General.Firmware.VersionMajor", String(506, '1')); },
    };
    const FileType types[] = {FileType::Pending, FileType::Fallback, FileType::Current};
    run.platform.status->SetState("Controller", InstallationState::Idle);
    for (std::size_t i = 0; i < std::size(rows); ++i)
    {
        rows[i]();
        run.CreateModule();
        run.log->Clear();
        static_cast<void>(run.GetVersion(types[i], ResultCode::OperationFailed));
        EXPECT_THAT(run.GetStory().back(),
                    testing::StartsWith("error: GetSoftwareVersion: Zel::System::Commons::ArgumentException: "
                                        "Input string is too long"));
        run.module.reset();
    }
}

TEST_F(OperationsTest, AStateWithoutNameThrows)
{
    run.CreateModule();
    run.platform.status->SetState("Controller", static_cast<InstallationState>(7));
    try
    {
        Install("1.0.0.0")(run);
        FAIL() << "nothing was thrown";
    }
    catch (const Exception& exception)
    {
        EXPECT_THAT(exception.GetMessage(),
                    testing::MatchesRegex("Invalid value for Enum '.*InstallationState' occurs: 7"));
    }
}

TEST_F(OperationsTest, PendingVersionIsAskedOncePerFileAndFallbackVersionUntilThereIsOne)
{
    run.CreateModule();
    EXPECT_EQ(run.GetVersion(FileType::Pending, ResultCode::NotFound), "");
    Stage("3.0.0.0")(run);
    EXPECT_EQ(run.GetVersion(FileType::Pending), "3.0.0.0");
    EXPECT_EQ(CountCalls("Info"), 1);
    const std::filesystem::path pending(run.platform.GetPendingPath());
    std::filesystem::last_write_time(pending,
                                     std::filesystem::last_write_time(pending) + std::chrono::seconds(1));
    EXPECT_EQ(run.GetVersion(FileType::Pending), "3.0.0.0");
    EXPECT_EQ(run.GetVersion(FileType::Pending), "3.0.0.0");
    EXPECT_EQ(CountCalls("Info"), 2) << "once for the touched file";
    device.rauc.AddBundle("", "3.0.0.0");
    run.platform.folder.Write("pending.raucb", "");
    EXPECT_EQ(run.GetVersion(FileType::Pending), "3.0.0.0");
    EXPECT_EQ(run.GetVersion(FileType::Pending), "3.0.0.0");
    EXPECT_EQ(CountCalls("Info"), 4) << "an empty file is never cached";
    device.rauc.AddBundle("other", "3.0.0.0", "Other");
    run.platform.folder.Write("pending.raucb", "other");
    EXPECT_EQ(run.GetVersion(FileType::Pending, ResultCode::InvalidArgument), "3.0.0.0");
    EXPECT_EQ(run.GetStory().back(), "info VersionManager: Delete invalid software package ~/pending.raucb");

    device.rauc.SetSlots({});
    for (int i = 0; i < 6; ++i)
    {
        EXPECT_EQ(run.GetVersion(FileType::Fallback, ResultCode::OperationFailed), "");
    }
    EXPECT_EQ(CountCalls("GetSlotStatus"), 5);
    // A failed installation lets it be asked again.
    run.platform.status->SetState("Controller", InstallationState::Installing);
    device.rauc.SetSlots({ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0")});
    device.rauc.EmitCompleted(1);
    Await("EndInstallation failed")(run);
    EXPECT_EQ(run.GetVersion(FileType::Fallback), "1.0.0.0");
    device.rauc.SetSlots({});
    EXPECT_EQ(run.GetVersion(FileType::Fallback), "1.0.0.0");
    EXPECT_EQ(CountCalls("GetSlotStatus"), 6);
}

TEST_F(OperationsTest, ADestroyedModuleTakesADelayedInstallationAlong)
{
    run.CreateModule();
    Stage("3.0.0.0")(run);
    Install("3.0.0.0", ResultCode::Ok, std::numeric_limits<long long>::max())(run);
    const auto begin = std::chrono::steady_clock::now();
    run.module.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_THAT(
        run.log->GetLinesOf("ScheduledExecutorService"),
        ElementsAre("debug ScheduledExecutorService: Timer 'RaucDelayInstall' is running.",
                    "debug ScheduledExecutorService: Timer 'RaucDelayInstall' has been interrupted."));
    EXPECT_EQ(CountCalls("InstallBundle"), 0);
    EXPECT_EQ(run.platform.status->GetRecord("Controller").state, InstallationState::Installing);
}

TEST_F(OperationsTest, InstallationHasTheArgumentsThatRaucExpectsAndEachStepIsTold)
{
    run.CreateModule();
    Stage("3.0.0.0")(run);
    run.log->Clear();
    Install("3.0.0.0")(run);
    Await("SetMessage 'The device is going to reboot.'")(run);
    EXPECT_EQ(device.rauc.GetCalls().back(),
              (Support::ScriptedCall{"InstallBundle",
                                     {run.platform.GetPendingPath(), "[{ignore-compatible=false}]"},
                                     "sa{sv}"}));
    Lines expected = {"SetMessage ''"};
    for (const auto& step :
         Support::RaucProgressScript::Installation(Support::ScriptedRauc::Edition::Rauc18, "rootfs.1", ""))
    {
        expected.push_back("SetMessage '" + step.message + "'");
        expected.push_back("SetProgress " + std::to_string(step.percentage));
    }
    auto calls = run.platform.status->GetCalls();
    calls.erase(calls.begin(), std::ranges::find(calls, "SetMessage ''"));
    expected.push_back("SetMessage 'The device is going to reboot.'");
    EXPECT_EQ(calls, expected);
}

} // namespace

} // namespace Zel::Tests

#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "RaucUpdater/RaucUpdaterModule.h"
#include "Zel/Exception.h"
#include "Zel/System/Commons/ArgumentException.h"

#include <gmock/gmock.h>

#include <chrono>
#include <limits>

namespace Zel::Tests
{

namespace
{

using enum ResultCode;
using Services::SoftwareUpdate::UpdateBehavior;
using System::Commons::ArgumentException;
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

    ResultCode GetBehavior(const String& uri, const String& revision, const Lines& patches = {})
    {
        behavior = UpdateBehavior::None;
        return run.module->GetUpdateBehavior("Controller", uri, revision, patches, behavior);
    }

    const Journey row{};
    ScriptedDevice device;
    JourneyRun run{device, row};
    UpdateBehavior behavior = UpdateBehavior::WillReboot;
};

TEST_F(OperationsTest, EachKnowsItsComponentWhateverTheLetterCase)
{
    run.CreateModule();
    const auto getResults = [&](const String& id) -> std::vector<ResultCode>
    {
        auto& module = *run.module;
        Version version = VersionOf("");
        String message = "left over";
        Services::SoftwareUpdate::SoftwareUpdateStatus status;
        EXPECT_EQ(module.SetUpdateKey(id, {}), NotSupported);
        return {module.GetUpdateBehavior(id, "", "", {}, behavior),
                module.SetSoftwarePackage(id, FileType::Pending, "/nowhere", message),
                module.SetSoftwarePackage(id, FileType::Current, "/", message),
                module.GetSoftwarePackage(id, FileType::Pending, "/nowhere"),
                module.InstallSoftwarePackage(id, version, 0),
                module.GetStatus(id, status),
                module.ResumeInstall(id),
                module.RevertInstall(id),
                module.GetSoftwareVersion(id, FileType::Current, version)};
    };
    EXPECT_THAT(getResults("Controllers"), testing::Each(InvalidArgument));
    EXPECT_EQ(behavior, UpdateBehavior::None);
    const String line = "debug: The component ID 'Controllers' is not supported. Expecting 'Controller'";
    EXPECT_THAT(run.GetStory(), testing::Contains(line).Times(9));
    EXPECT_THAT(getResults("cONTROLLER"), ElementsAre(NotFound, NotFound, NotSupported, NotSupported,
                                                      NotFound, Ok, InvalidState, InvalidState, Ok));
}

TEST_F(OperationsTest, WithoutDeviceInfoTheVersionsAreUnknownAndNothingElseFails)
{
    run.platform.UnregisterDeviceInfo();
    run.CreateModule();
    EXPECT_THAT(run.GetStory(), ElementsAre("error: Failed to subscribe to IDeviceInfoService."));
    Version version;
    EXPECT_EQ(run.module->GetUpdateBehavior("", "", "", {}, behavior), GeneralError);
    EXPECT_EQ(run.module->GetSoftwareVersion("", FileType::Fallback, version), GeneralError);
    EXPECT_EQ(run.module->GetSoftwareVersion("", FileType::Current, version), OperationFailed);
    EXPECT_EQ(run.module->InstallSoftwarePackage("", version, 0), NotFound);
    EXPECT_EQ(run.module->RevertInstall(""), InvalidState);
}

TEST_F(OperationsTest, DoesNotStartWithoutStatusOrBusAndCanBeDestroyed)
{
    run.platform.status->SetState("Controller", InstallationState::Installing);
    const std::pair<const char*, const char*> rows[] = {
        {"GetStatus", "Failed to initialize state. Unable to get status information."},
        {"ReadProperty", "refused"},
        {"EndInstallation", "refused"},
        {"", ""}};
    for (const auto& [refused, failure] : rows)
    {
        run.platform.status->Refuse(refused);
        EXPECT_EQ(GetStartFailure(), failure) << refused;
        device.rauc.EmitCompleted(1);
    }
    run.module.reset();
    auto& bus = Support::PrivateBus::OfProcess();
    bus.Kill();
    // The first attempt may find the connection that libdbus has kept, and sees only then that it is dead.
    static_cast<void>(GetStartFailure());
    EXPECT_EQ(GetStartFailure(), "Failed to open D-BUS.");
    bus.Start();
    EXPECT_EQ(GetStartFailure(), "");
}

TEST_F(OperationsTest, TheBehaviorIsKnownOfPendingAndFallbackVersionAndTextsOf512CharactersAreRefused)
{
    run.CreateModule();
    const String& uri = run.platform.ManufacturerUri;
    const String longest(511, '4');
    const String tooLong(512, '4');
    Stage(longest)(run);
    for (const auto& known : {longest, String("1.0.0.0")})
    {
        EXPECT_EQ(GetBehavior(uri, known), Ok);
        EXPECT_EQ(static_cast<std::uint32_t>(behavior), 0x1BU);
    }
    EXPECT_EQ(GetBehavior(uri, "2.0.0.0"), NotFound);
    EXPECT_EQ(GetBehavior(uri, longest, {longest}), NotFound);
    EXPECT_EQ(GetBehavior("x", longest, {longest}), NotFound);
    const Lines mismatches = {
        "debug VersionManager: PatchIdentifiers size mismatch",
        "trace VersionManager: SoftwareRevision mismatch (type=Fallback): Actual=1.0.0.0 ; Expected=2.0.0.0",
        "debug VersionManager: ManufacturerUri mismatch (type=Fallback): Actual=" + uri + " ; Expected=x"};
    EXPECT_THAT(run.log->GetLinesOf("VersionManager"), testing::IsSupersetOf(mismatches));
    EXPECT_THROW(static_cast<void>(GetBehavior(uri, tooLong)), ArgumentException);
    EXPECT_THROW(static_cast<void>(GetBehavior(tooLong, "")), ArgumentException);
    EXPECT_THROW(static_cast<void>(GetBehavior("", "", {tooLong})), ArgumentException);
    run.platform.folder.Write("pending.raucb", "x");
    device.rauc.AddBundle("x", tooLong);
    static_cast<void>(run.GetVersion(FileType::Pending, OperationFailed));
    EXPECT_THAT(run.GetStory().back(),
                testing::StartsWith("error: GetSoftwareVersion: Zel::System::Commons::ArgumentException: "
                                    "Input string is too long"));
    run.platform.status->SetState("Controller", static_cast<InstallationState>(7));
    EXPECT_THAT([&] { static_cast<void>(run.Install({})); },
                testing::ThrowsMessage<Exception>(
                    testing::MatchesRegex("Invalid value for Enum '.*InstallationState' occurs: 7")));
}

TEST_F(OperationsTest, ADestroyedModuleTakesADelayedInstallationAlong)
{
    run.CreateModule();
    Stage("3.0.0.0")(run);
    Install("3.0.0.0", Ok, std::numeric_limits<long long>::max())(run);
    const auto begin = std::chrono::steady_clock::now();
    run.module.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    const String timer = "debug ScheduledExecutorService: Timer 'RaucDelayInstall' ";
    EXPECT_THAT(run.log->GetLinesOf("ScheduledExecutorService"),
                ElementsAre(timer + "is running.", timer + "has been interrupted."));
    EXPECT_EQ(run.platform.status->GetCalls().back(), "WriteProperty InstallerSlotName=rootfs.0");
}

} // namespace

} // namespace Zel::Tests

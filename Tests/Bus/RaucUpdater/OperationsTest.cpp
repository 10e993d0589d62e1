#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "Support/PrivateBus.h"
#include "Support/Thrown.h"
#include "Zel/System/Commons/ArgumentException.h"

#include <gmock/gmock.h>

#include <barrier>
#include <future>
#include <set>

namespace Zel::Tests
{

using enum ResultCode;
using Module = Services::SoftwareUpdate::IUpdaterModule;
using Services::SoftwareUpdate::UpdateBehavior;
using System::Commons::ArgumentException;

/// An operation, what it gives on a device at rest, and what when others run beside it: RAUC is busy for
/// moments then, so what needs it may fail; what it cannot tell may be refused as unverified.
struct Operation
{
    std::function<ResultCode(Module& module, const String& id)> call;
    ResultCode atRest;
    std::set<ResultCode> besideOthers;
};

struct OperationsTest : ModuleTest
{
    /// Returns what a new module throws, which is destroyed then; "nothing" when it starts.
    String GetStartFailure()
    {
        String failure = Support::GetThrown([this] { Create(); });
        failure == "nothing" ? void() : run.module.reset();
        return failure;
    }

    ResultCode GetBehavior(const String& uri, const String& revision, const Lines& patches = {})
    {
        behavior = UpdateBehavior::WillReboot;
        return run.module->GetUpdateBehavior("Controller", uri, revision, patches, behavior);
    }

    static std::function<ResultCode(Module& module, const String& id)> Read(FileType type)
    {
        return [=](auto& m, auto& id, Version v = {}) { return m.GetSoftwareVersion(id, type, v); };
    }

    /// Delivers a new file with the content "good".
    ResultCode Deliver(Module& module, const String& id)
    {
        String message;
        const String path = run.platform.folder.Write("delivered" + std::to_string(++deliveries), "good");
        return module.SetSoftwarePackage(id, FileType::Pending, path, message);
    }

    UpdateBehavior behavior = UpdateBehavior::WillReboot;
    std::atomic<int> deliveries = 0;
    const String uri = Support::ModulePlatform::ManufacturerUri;
    const std::set<ResultCode> installed = {Ok, InvalidState, NotFound, OperationFailed};
    const std::vector<Operation> operations = {
        {[this](auto& m, auto& id, UpdateBehavior b = {})
         { return m.GetUpdateBehavior(id, uri, "3.0.0.0", {}, b); },
         NotFound,
         {Ok, NotFound, InvalidArgument, OperationFailed}},
        {Read(FileType::Current), Ok, {Ok}},
        {Read(FileType::Pending), NotFound, {Ok, NotFound, InvalidArgument}},
        {Read(FileType::Fallback), Ok, {Ok, OperationFailed}},
        {[](auto& m, auto& id) { return m.InstallSoftwarePackage(id, VersionOf("3.0.0.0"), 0); }, NotFound,
         installed},
        {[](auto& m, auto& id) { return m.InstallSoftwarePackage(id, VersionOf("3.0.0.0"), 1); }, NotFound,
         installed},
        {[](auto& m, auto& id) { return m.GetSoftwarePackage(id, FileType::Pending, "/x"); },
         NotSupported,
         {NotSupported, InvalidState}},
        {[](auto& m, auto& id, Services::SoftwareUpdate::SoftwareUpdateStatus status = {})
         { return m.GetStatus(id, status); },
         Ok,
         {Ok}},
        {[](auto& m, auto& id) { return m.ResumeInstall(id); },
         InvalidState,
         {Ok, InvalidState, OperationFailed}},
        {[](auto& m, auto& id) { return m.RevertInstall(id); },
         InvalidState,
         {Ok, InvalidState, GeneralError, AlreadyReverted}},
        {[this](auto& m, auto& id) { return Deliver(m, id); }, Ok, {Ok, InvalidState, InvalidArgument}}};
};

TEST_F(OperationsTest, EachKnowsItsComponentWhateverTheLetterCase)
{
    Create();
    device.rauc->bundles["good"] = {"Controller", "3.0.0.0"};
    for (const auto& operation : operations)
    {
        run.log.Clear();
        EXPECT_EQ(operation.call(*run.module, "Controllers"), InvalidArgument);
        const String line = "debug: The component ID 'Controllers' is not supported. Expecting 'Controller'";
        EXPECT_THAT(run.GetStory(), testing::Contains(line));
        EXPECT_EQ(operation.call(*run.module, "cONTROLLER"), operation.atRest);
    }
    EXPECT_EQ(run.module->SetUpdateKey("Controllers", {}), NotSupported);
    String message = "left over";
    EXPECT_EQ(run.module->SetSoftwarePackage("Controllers", FileType::Pending, "/x", message),
              InvalidArgument);
    EXPECT_EQ(message, "");
    EXPECT_EQ(run.module->GetUpdateBehavior("Controllers", uri, "1.0.0.0", {}, behavior), InvalidArgument);
    EXPECT_EQ(behavior, UpdateBehavior::None);
    Stored(InstallationState::Installing)(run);
    EXPECT_EQ(run.module->GetSoftwarePackage("Controller", FileType::Pending, "/x"), InvalidState);
}

TEST_F(OperationsTest, TwoCallersAtEach)
{
    Create();
    device.rauc->bundles["good"] = {"Controller", "3.0.0.0"};
    device.rauc->failure = "broken";
    // A switch of the slot would be followed by 3 s of sleep.
    NoAnswerTo("Mark")(run);
    for (const auto& first : operations)
    {
        for (const auto& second : operations)
        {
            run.log.Clear();
            run.platform.folder.Write("pending.raucb", "good");
            Stored(InstallationState::Idle, {"InstallerSlotName=rootfs.1"}, true)(run);
            std::barrier start(2);
            const auto call = [&](const Operation& operation)
            {
                start.arrive_and_wait();
                EXPECT_THAT(operation.besideOthers,
                            testing::Contains(operation.call(*run.module, "Controller")));
            };
            const auto other = std::async(std::launch::async, call, second);
            call(first);
        }
    }
}

TEST_F(OperationsTest, AModuleComesAndGoesUnderTraffic)
{
    const Support::RecordingLog quiet(System::Commons::Diagnostics::Logging::LogLevel::Error);
    // A slow build may ask for fewer.
    const char* wanted = std::getenv("ZEL_MODULE_CYCLES"); // NOLINT(concurrency-mt-unsafe)
    const int cycles = wanted != nullptr ? std::atoi(wanted) : 10'000;
    std::barrier cycle(2);
    // Signals arrive in each moment of a module's life, but never more than it can have read.
    std::thread traffic(
        [&]
        {
            for (int i = 0; i < cycles; ++i)
            {
                cycle.arrive_and_wait();
                device.rauc.EmitProgress(i % 100, "Copying", 1);
                device.rauc.EmitOperation(i % 2 == 0 ? "installing" : "idle");
                device.rauc.EmitLastError("broken");
                device.rauc.EmitCompleted(i % 2);
            }
        });
    for (int i = 0; i < cycles; ++i)
    {
        cycle.arrive_and_wait();
        Create();
        run.module.reset();
    }
    traffic.join();
    EXPECT_THAT(run.platform.status->GetCalls(), testing::IsEmpty());
}

TEST_F(OperationsTest, WithoutDeviceInfoTheVersionsAreUnknownAndNothingElseFails)
{
    run.platform.Register(nullptr, run.platform.deviceControl);
    Create();
    EXPECT_THAT(run.GetStory(), testing::ElementsAre("error: Failed to subscribe to IDeviceInfoService."));
    Version version;
    EXPECT_EQ(run.module->GetUpdateBehavior("", "", "", {}, behavior), GeneralError);
    EXPECT_EQ(run.module->GetSoftwareVersion("", FileType::Fallback, version), GeneralError);
    EXPECT_EQ(run.module->GetSoftwareVersion("", FileType::Current, version), OperationFailed);
    EXPECT_EQ(run.module->InstallSoftwarePackage("", version, 0), NotFound);
    EXPECT_EQ(run.module->RevertInstall(""), InvalidState);
    run.platform.Register(run.platform.deviceControl, nullptr);
    EXPECT_THAT(GetStartFailure(),
                testing::HasSubstr("Exception: The service does not implement service interface '"));
}

TEST_F(OperationsTest, DoesNotStartWithoutStatusOrBusAndCanBeDestroyed)
{
    run.platform.status->SetState("Controller", InstallationState::Installing);
    const std::pair<const char*, const char*> rows[] = {
        {"GetStatus", "Zel::Exception: Failed to initialize state. Unable to get status information."},
        {"ReadProperty", "refused"},
        {"EndInstallation", "refused"},
        {"", "nothing"}};
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
    EXPECT_EQ(GetStartFailure(), "Zel::Exception: Failed to open D-BUS.");
    bus.Start();
    EXPECT_EQ(GetStartFailure(), "nothing");
}

TEST_F(OperationsTest, TheBehaviorIsKnownOfPendingAndFallbackVersionAndTextsOf512CharactersAreRefused)
{
    Create();
    const String longest(511, '4');
    const String tooLong(512, '4');
    NoAnswerTo("GetSlotStatus")(run);
    EXPECT_EQ(GetBehavior(uri, "1.0.0.0"), NotFound) << "as of the pending version";
    EXPECT_EQ(behavior, UpdateBehavior::None);
    device.rauc->answers.clear();
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
    EXPECT_THAT(run.log.GetLinesOf("VersionManager"), testing::IsSupersetOf(mismatches));
    EXPECT_THROW(static_cast<void>(GetBehavior(uri, tooLong)), ArgumentException);
    EXPECT_THROW(static_cast<void>(GetBehavior(tooLong, "")), ArgumentException);
    EXPECT_THROW(static_cast<void>(GetBehavior("", "", {tooLong})), ArgumentException);
    run.platform.folder.Write("pending.raucb", "x");
    device.rauc->bundles["x"] = {"Controller", tooLong};
    Ask(FileType::Pending, "", OperationFailed)(run);
    EXPECT_THAT(run.GetStory().back(),
                testing::StartsWith("error: GetSoftwareVersion: Zel::System::Commons::ArgumentException: "
                                    "Input string is too long"));
    run.platform.status->SetState("Controller", static_cast<InstallationState>(7));
    EXPECT_THAT(Support::GetThrown([&] { Install(Version())(run); }),
                testing::MatchesRegex(".*Invalid value for Enum '.*InstallationState' occurs: 7"));
}

} // namespace Zel::Tests

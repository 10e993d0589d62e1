#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "RaucUpdater/RaucUpdaterModule.h"

#include <gmock/gmock.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <future>
#include <set>
#include <thread>

namespace Zel::Tests
{

namespace
{

using enum ResultCode;
using Module = Services::Modules::SoftwareUpdate::RaucUpdater::RaucUpdaterModule;

const String Id = Support::ModulePlatform::ComponentId;

TEST(StressTest, AModuleComesAndGoesUnderTraffic)
{
    const Support::ModulePlatform platform;
    ScriptedDevice device;
    const String settings = platform.WriteSettings();
    // A slow build may ask for fewer.
    const char* wanted = std::getenv("ZEL_MODULE_CYCLES");
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
        Module module;
        module.Initialize(settings, platform.status);
    }
    traffic.join();
    EXPECT_THAT(platform.status->GetCalls(), testing::IsEmpty());
}

/// An operation, and what it may give when others run beside it.
struct Operation
{
    const char* name;
    std::function<ResultCode(Module&)> call;
    std::set<ResultCode> allowed;
};

/// RAUC is busy for moments, so what needs it may fail; what it cannot tell may be refused as unverified.
std::vector<Operation> AllOperations(const Support::ModulePlatform& platform)
{
    const auto behave = [](auto& module)
    {
        auto behavior = Services::SoftwareUpdate::UpdateBehavior::None;
        return module.GetUpdateBehavior(Id, Support::ModulePlatform::ManufacturerUri, "3.0.0.0", {},
                                        behavior);
    };
    const auto read = [](FileType type) -> std::function<ResultCode(Module&)> {
        return [=](auto& module, Version version = {})
        { return module.GetSoftwareVersion(Id, type, version); };
    };
    const auto install = [](long long delayMs) -> std::function<ResultCode(Module&)> {
        return [=](auto& module) { return module.InstallSoftwarePackage(Id, VersionOf("3.0.0.0"), delayMs); };
    };
    const auto stage = [&platform](Module& module)
    {
        static std::atomic<int> count = 0;
        String message;
        const String path = platform.folder.Write("delivered" + std::to_string(++count), "good");
        return module.SetSoftwarePackage(Id, FileType::Pending, path, message);
    };
    const auto tell = [](auto& module, Services::SoftwareUpdate::SoftwareUpdateStatus status = {})
    { return module.GetStatus(Id, status); };
    const auto get = [](auto& module) { return module.GetSoftwarePackage(Id, FileType::Pending, "/x"); };
    return {{"GetUpdateBehavior", behave, {Ok, NotFound, InvalidArgument, OperationFailed}},
            {"GetCurrentVersion", read(FileType::Current), {Ok}},
            {"GetPendingVersion", read(FileType::Pending), {Ok, NotFound, InvalidArgument}},
            {"GetFallbackVersion", read(FileType::Fallback), {Ok, OperationFailed}},
            {"SetSoftwarePackage", stage, {Ok, InvalidState, InvalidArgument}},
            {"GetSoftwarePackage", get, {NotSupported, InvalidState}},
            {"InstallSoftwarePackage", install(0), {Ok, InvalidState, NotFound, OperationFailed}},
            {"InstallDelayed", install(1), {Ok, InvalidState, NotFound, OperationFailed}},
            {"GetStatus", tell, {Ok}},
            {"Resume", [](auto& m) { return m.ResumeInstall(Id); }, {Ok, InvalidState, OperationFailed}},
            {"SetUpdateKey", [](auto& m) { return m.SetUpdateKey(Id, {}); }, {NotSupported}},
            {"Revert",
             [](auto& m) { return m.RevertInstall(Id); },
             {Ok, InvalidState, GeneralError, AlreadyReverted}}};
}

TEST(StressTest, TwoCallersAtEachOperation)
{
    const Support::ModulePlatform platform;
    ScriptedDevice device;
    device.rauc.AddBundle("good", "3.0.0.0");
    device.rauc.LetInstallationFail("broken");
    // A switch of the slot would be followed by 3 s of sleep.
    device.rauc.SetAnswer("Mark", Support::ScriptedAnswer::Refusal("no"));
    Module module;
    module.Initialize(platform.WriteSettings(), platform.status);
    const auto operations = AllOperations(platform);
    for (const Operation& first : operations)
    {
        for (const Operation& second : operations)
        {
            platform.folder.Write("pending.raucb", "good");
            platform.status->SetState(Id, InstallationState::Idle, true);
            EXPECT_TRUE(platform.status->WriteProperty(Id, "InstallerSlotName", "rootfs.1", true));
            std::barrier start(2);
            const auto run = [&](const Operation& operation)
            {
                start.arrive_and_wait();
                const ResultCode result = operation.call(module);
                EXPECT_TRUE(operation.allowed.contains(result)) << operation.name << " " << ToString(result);
            };
            const auto other = std::async(std::launch::async, run, second);
            run(first);
        }
    }
}

} // namespace

} // namespace Zel::Tests

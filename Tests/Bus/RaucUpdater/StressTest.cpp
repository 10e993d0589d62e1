#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "RaucUpdater/RaucUpdaterModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

using Module = Services::Modules::SoftwareUpdate::RaucUpdater::RaucUpdaterModule;
using Support::ScriptedAnswer;

/// A slow build may ask for fewer.
int GetCycles()
{
    const char* cycles = std::getenv("ZEL_MODULE_CYCLES");
    return cycles != nullptr ? std::atoi(cycles) : 10'000;
}

TEST(StressTest, AModuleComesAndGoesUnderTraffic)
{
    const Support::ModulePlatform platform;
    ScriptedDevice device;
    const String settings = platform.WriteSettings();
    const int cycles = GetCycles();
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

std::vector<Operation> AllOperations(const Support::ModulePlatform& platform)
{
    static const String Id = Support::ModulePlatform::ComponentId;
    const auto install = [](long long delayMs)
    {
        return [=](Module& module)
        {
            Version version;
            version.softwareManufacturerUri = Support::ModulePlatform::ManufacturerUri;
            version.softwareRevision = "3.0.0.0";
            return module.InstallSoftwarePackage(Id, version, delayMs);
        };
    };
    const auto behave = [](Module& module)
    {
        auto behavior = Services::SoftwareUpdate::UpdateBehavior::None;
        return module.GetUpdateBehavior(Id, Support::ModulePlatform::ManufacturerUri, "3.0.0.0", {},
                                        behavior);
    };
    const auto read = [](FileType type)
    {
        return [=](Module& module)
        {
            Version version;
            return module.GetSoftwareVersion(Id, type, version);
        };
    };
    const auto stage = [&platform](Module& module)
    {
        static std::atomic<int> count = 0;
        String message;
        return module.SetSoftwarePackage(Id, FileType::Pending,
                                         platform.folder.Write("delivered" + std::to_string(++count), "good"),
                                         message);
    };
    const auto tell = [](Module& module)
    {
        Services::SoftwareUpdate::SoftwareUpdateStatus status;
        return module.GetStatus(Id, status);
    };
    using enum ResultCode;
    // RAUC is busy for moments, so what needs it may fail; what it cannot tell may be refused as unverified.
    return {{"GetUpdateBehavior", behave, {Ok, NotFound, InvalidArgument, OperationFailed}},
            {"GetCurrentVersion", read(FileType::Current), {Ok}},
            {"GetPendingVersion", read(FileType::Pending), {Ok, NotFound, InvalidArgument}},
            {"GetFallbackVersion", read(FileType::Fallback), {Ok, OperationFailed}},
            {"SetSoftwarePackage", stage, {Ok, InvalidState, InvalidArgument}},
            {"GetSoftwarePackage",
             [](Module& module) { return module.GetSoftwarePackage(Id, FileType::Pending, "/x"); },
             {NotSupported, InvalidState}},
            {"InstallSoftwarePackage", install(0), {Ok, InvalidState, NotFound, OperationFailed}},
            {"InstallDelayed", install(1), {Ok, InvalidState, NotFound, OperationFailed}},
            {"GetStatus", tell, {Ok}},
            {"ResumeInstall",
             [](Module& module) { return module.ResumeInstall(Id); },
             {Ok, InvalidState, OperationFailed}},
            {"SetUpdateKey", [](Module& module) { return module.SetUpdateKey(Id, {}); }, {NotSupported}},
            {"RevertInstall",
             [](Module& module) { return module.RevertInstall(Id); },
             {Ok, InvalidState, GeneralError, AlreadyReverted}}};
}

TEST(StressTest, TwoCallersAtEachOperation)
{
    const Support::ModulePlatform platform;
    ScriptedDevice device;
    device.rauc.AddBundle("good", "3.0.0.0");
    device.rauc.LetInstallationFail("broken");
    // A switch of the slot would be followed by 3 s of sleep.
    device.rauc.SetAnswer("Mark", ScriptedAnswer::Refusal("no"));
    Module module;
    module.Initialize(platform.WriteSettings(), platform.status);
    const auto operations = AllOperations(platform);
    for (const Operation& first : operations)
    {
        for (const Operation& second : operations)
        {
            platform.folder.Write("pending.raucb", "good");
            platform.status->SetState("Controller", InstallationState::Idle, true);
            EXPECT_TRUE(platform.status->WriteProperty("Controller", "InstallerSlotName", "rootfs.1", true));
            std::barrier start(2);
            const auto run = [&](const Operation& operation)
            {
                start.arrive_and_wait();
                return operation.call(module);
            };
            auto other = std::async(std::launch::async, run, second);
            const ResultCode result = run(first);
            EXPECT_TRUE(first.allowed.contains(result)) << first.name << " " << ToString(result);
            const ResultCode otherResult = other.get();
            EXPECT_TRUE(second.allowed.contains(otherResult)) << second.name << " " << ToString(otherResult);
        }
    }
}

} // namespace

} // namespace Zel::Tests

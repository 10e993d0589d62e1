#include "Rows/Rows.h"

#include "Comparison.h"
#include "Program.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "RaucUpdater/RaucUpdaterModule.h"
#include "Support/DeviceFolder.h"
#include "Support/ModulePlatform.h"
#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>

namespace Zel::Benchmarks
{

using Services::Modules::SoftwareUpdate::RaucUpdater::RaucUpdaterModule;
using Services::SoftwareUpdate::InstallationState;
using Services::SoftwareUpdate::ResultCode;
using Services::SoftwareUpdate::SoftwareVersionFileType;
using System::Commons::Delegate;
using System::Core::Format;
using Tests::Support::DeviceFolder;
using Tests::Support::ModulePlatform;

namespace
{

/// Waits for RAUC's signal that an installation is complete, as the module's handler gets it.
class CompletedWatch
{
public:
    // Subscribed before the module, so that it is told before the module's own handler works.
    CompletedWatch() { RaucUpdaterModule::RaucCompletedSignal::OnCompleted.Add(handler); }

    ~CompletedWatch() { RaucUpdaterModule::RaucCompletedSignal::OnCompleted.Remove(handler); }

    CompletedWatch(const CompletedWatch&) = delete;
    CompletedWatch& operator=(const CompletedWatch&) = delete;

    void Wait()
    {
        std::unique_lock lock(mutex);
        const bool isTold = told.wait_for(lock, std::chrono::minutes(5), [this] { return isComplete; });
        if (!isTold || !hasSucceeded)
        {
            throw Exception("The installation by the module failed");
        }
    }

private:
    void OnCompleted(const RaucUpdaterModule::RaucCompletedSignal& signal)
    {
        const std::lock_guard lock(mutex);
        isComplete = true;
        hasSucceeded = signal.HasCompleted();
        told.notify_all();
    }

    const Delegate<const RaucUpdaterModule::RaucCompletedSignal&> handler =
        Delegate<const RaucUpdaterModule::RaucCompletedSignal&>::Bind<&CompletedWatch::OnCompleted>(this);
    std::mutex mutex;
    std::condition_variable told;
    bool isComplete = false;
    bool hasSucceeded = false;
};

/// The module on the device, with a bundle that waits for its installation.
class ModuleOnDevice
{
public:
    explicit ModuleOnDevice(const String& bundle) : bundle(bundle) {}

    /// Ends the module, which waits until it has ordered the restart. What RAUC signals from then on, for an
    /// installation of somebody else, is not kept for the next module.
    void Leave() { module.reset(); }

    void Stage()
    {
        Leave();
        platform.status->SetState(ModulePlatform::ComponentId, InstallationState::Idle);
        watch = std::make_unique<CompletedWatch>();
        module = std::make_unique<RaucUpdaterModule>();
        module->Initialize(platform.WriteSettings(), platform.status);
        const auto delivered = platform.folder / "delivered.raucb";
        std::filesystem::create_hard_link(bundle, delivered);
        String message;
        const auto result = module->SetSoftwarePackage(ModulePlatform::ComponentId,
                                                       SoftwareVersionFileType::Pending, delivered, message);
        Require(result, message);
    }

    void Install()
    {
        RaucUpdaterModule::VersionManager::SoftwareVersionType wanted;
        wanted.softwareManufacturerUri = ModulePlatform::ManufacturerUri;
        wanted.softwareRevision = "2.0.0.0";
        Require(module->InstallSoftwarePackage(ModulePlatform::ComponentId, wanted, 0), "not installed");
        watch->Wait();
    }

private:
    static void Require(ResultCode result, const String& reason)
    {
        if (result != ResultCode::Ok)
        {
            throw Exception("The module refused the bundle: " + reason);
        }
    }

    const String bundle;
    const ModulePlatform platform;
    std::unique_ptr<CompletedWatch> watch;
    std::unique_ptr<RaucUpdaterModule> module;
};

} // namespace

Results MeasureInstall(const String& row, std::uint64_t mebibytes, const Effort& effort)
{
    constexpr double Limit = 510;
    constexpr double NanosecondsPerMillisecond = 1e6;
    const auto imageSize = std::to_string(mebibytes << 20);
    // RAUC's own files, its log for one, must fit into the slot's size as well.
    const auto slotSize = std::to_string(std::max<std::uint64_t>(mebibytes, 8) << 20);
    DeviceFolder device({"--slot-size", slotSize});
    device.Run("boot");
    device.Run("mark-good");
    const auto bundle = device.MakeBundle("2.0.0.0", {"--image-size", imageSize});
    ModuleOnDevice module(bundle);
    const std::vector<String> raucInstall = {"rauc", "install", bundle};
    const auto medians = CompareElapsedTime(
        {{"own", [&module] { module.Install(); }, [&module] { module.Stage(); }},
         {"rauc install", [&raucInstall] { RunProgram(raucInstall); }, [&module] { module.Leave(); }}},
        effort);
    const double own = medians[0] / NanosecondsPerMillisecond;
    const double rauc = medians[1] / NanosecondsPerMillisecond;
    return {Judged(row, "own - rauc install", Format("{0:+.0f} ms", own - rauc), "at most +510 ms",
                   own - rauc <= Limit),
            Shown(row, "own, rauc install", Format("{0:.0f}, {1:.0f} ms", own, rauc))};
}

} // namespace Zel::Benchmarks

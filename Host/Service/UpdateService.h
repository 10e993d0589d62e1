#pragma once

#include "Service/BusSession.h"
#include "Service/Component.h"
#include "Service/Delivery.h"
#include "Service/DeviceControl.h"
#include "Service/DeviceInfoFile.h"
#include "Service/EventLoop.h"
#include "Service/LoopTimer.h"
#include "Service/ModuleHost.h"
#include "Service/Notifications.h"
#include "Service/PersistentUpdaterStatus.h"
#include "Service/Reconnection.h"
#include "Service/ServiceSettings.h"
#include "Service/StatusStore.h"
#include "Service/Watchdog.h"

#include <chrono>
#include <memory>
#include <vector>

namespace Zel::Host::Service
{

/// The service as a whole: builds its parts, starts the modules, publishes them on the bus, and decides what
/// happens when the bus is gone.
class UpdateService : private System::Commons::Diagnostics::Logging::Loggable<UpdateService>
{
public:
    inline static const String ProcessName = "zel-updated";
    /// The fact that is the components' ID.
    inline static const String ComponentIdKey = "General.ArticleName";
    /// How long the service manager is let wait for a start: RAUC has its time to come, an installation that
    /// goes on does not hold others back.
    static constexpr std::chrono::seconds ReadyTime = ComponentStart::Patience + std::chrono::seconds(10);

    /// Builds everything that needs no bus; throws `Exception` where that fails. `settings` outlives the
    /// service. The signals of `EventLoop::BlockSignals` are blocked.
    UpdateService(const ServiceSettings& settings, String version);
    ~UpdateService();
    UpdateService(const UpdateService&) = delete;
    UpdateService& operator=(const UpdateService&) = delete;

    /// Serves until SIGTERM or SIGINT and returns 0, or 1 when it cannot go on, which is logged. Throws
    /// `Exception` when there is no bus at the start.
    [[nodiscard]] int Run();

private:
    [[nodiscard]] DeviceControl::Handlers MakeDeviceHandlers();
    void CreateComponents();
    void Connect();
    void StartComponents();
    [[nodiscard]] ComponentEnvironment MakeEnvironment(const ModuleSettings& module);
    void OnComponentStarted(const RequestResult& result);
    /// Tells the service manager that the verdict on the last installation is reached, or that it takes
    /// longer than others should wait.
    void NotifyReady();
    /// Clients may look at the state meanwhile.
    void OnStartDelayed(const String& reason);
    void Publish();
    void OnBusLost();
    /// Leaves if an installation is running; returns whether it does.
    bool LeaveIfInstalling();
    void Probe(RaucAnswerHandler handler);
    void Inspect(const String& path, InspectionFacts facts, BundleInspector::Handler handler);
    void OnSlotActivated(const String& slot);
    /// Looks whether RAUC boots another slot next although nothing was installed.
    void CheckSlots();
    void OnRestartOrdered();
    [[nodiscard]] std::chrono::milliseconds GetWorkTime() const;
    void OnComponentDropped();
    /// Whether a component is being installed to.
    [[nodiscard]] bool IsInstalling() const;
    void AskLogind();
    void OnRestartFailed(const String& reason);
    void ShutDown();

    const ServiceSettings& settings;
    const String version;
    EventLoop loop;
    ModuleHost moduleHost;
    /// Made before the store, which may need the room that an unfinished delivery takes.
    Delivery delivery;
    const std::shared_ptr<StatusStore> store;
    const std::shared_ptr<PersistentUpdaterStatus> status;
    const std::shared_ptr<Notifications> notifications;
    const std::shared_ptr<DeviceInfoFile> deviceInfo;
    const std::shared_ptr<DeviceControl> deviceControl;
    std::vector<std::unique_ptr<Component>> components;
    std::unique_ptr<BusSession> session;
    Reconnection reconnection;
    LoopTimer readyTimer;
    Watchdog watchdog;
};

} // namespace Zel::Host::Service

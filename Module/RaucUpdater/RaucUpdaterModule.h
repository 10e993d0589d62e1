#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucLastErrorProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucProgressProperty.h"
#include "RaucUpdater/Internal/Settings/RaucUpdaterSettings.h"
#include "RaucUpdater/Internal/VersionManager.h"
#include "RaucUpdater/ScheduledExecutorService.h"
#include "Zel/Services/Device/IDeviceControlService.h"
#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Chrono/Timer.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Threading/Mutex.h"
#include "Zel/System/Rsc/IProxyFactory.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

/// Updates the device through RAUC. The component that it serves is the device's article name.
///
/// Threads: the operations run on the service's threads, RAUC's signals on the connection's listener, the
/// countdown on the status timer, a delayed installation on the executor. The installation state in the
/// status store is the guard between them: every handler of RAUC's signals reads it first.
///
/// Only `Initialize`, `GetUpdateBehavior`, `GetSoftwarePackage`, `InstallSoftwarePackage` and `GetStatus` let
/// exceptions out; the other operations log them and return `OperationFailed`, handlers log them.
class RaucUpdaterModule : public Services::SoftwareUpdate::IUpdaterModule,
                          private System::Commons::Diagnostics::Logging::Loggable<RaucUpdaterModule>
{
public:
    using DesktopBusManager = Internal::DesktopBus::DesktopBusManager;
    using IDeviceControlService = Services::Device::IDeviceControlService;
    using IDeviceInfoService = Services::Device::IDeviceInfoService;
    using IUpdaterStatus = Services::SoftwareUpdate::IUpdaterStatus;
    using RaucCompletedSignal = Internal::DesktopBus::RaucCompletedSignal;
    using RaucLastErrorProperty = Internal::DesktopBus::RaucLastErrorProperty;
    using RaucProgressProperty = Internal::DesktopBus::RaucProgressProperty;
    using RaucUpdaterSettings = Internal::Settings::RaucUpdaterSettings;
    using ResultCode = Services::SoftwareUpdate::ResultCode;
    using ScheduledExecutorService = Services::SoftwareUpdate::Internal::Threading::ScheduledExecutorService;
    using SecureKey = System::Rsc::Services::SecureString<512>;
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;
    using SoftwareVersionFileType = Services::SoftwareUpdate::SoftwareVersionFileType;
    using UpdateBehavior = Services::SoftwareUpdate::UpdateBehavior;
    using VersionManager = Internal::VersionManager;

    inline static const String ModuleName = "RaucUpdater";
    inline static const String TimerName = "RaucUpdateStatus";
    /// Microseconds between two countdown messages.
    static constexpr std::int64_t TimerInterval = 1'000'000;

    /// Throws when there is no notification manager (`SecurityNotifications`).
    RaucUpdaterModule();

    /// Ends the countdown, a waiting installation and the connection, in this order; returns when no handler
    /// runs any more. An installation that RAUC carries out goes on.
    ~RaucUpdaterModule() override;
    RaucUpdaterModule(const RaucUpdaterModule&) = delete;
    RaucUpdaterModule& operator=(const RaucUpdaterModule&) = delete;

    void Initialize(const String& settingsPath, std::shared_ptr<IUpdaterStatus> statusStore) override;
    ResultCode GetUpdateBehavior(const String& componentId, const String& manufacturerUri,
                                 const String& softwareRevision, const std::vector<String>& patchIdentifiers,
                                 UpdateBehavior& behavior) override;
    ResultCode GetSoftwareVersion(const String& componentId, SoftwareVersionFileType fileType,
                                  SoftwareVersionType& version) override;
    ResultCode SetSoftwarePackage(const String& componentId, SoftwareVersionFileType fileType,
                                  const String& packagePath, String& message) override;
    ResultCode GetSoftwarePackage(const String& componentId, SoftwareVersionFileType fileType,
                                  const String& packagePath) override;
    ResultCode InstallSoftwarePackage(const String& componentId, const SoftwareVersionType& version,
                                      long long delayMs) override;
    ResultCode GetStatus(const String& componentId, SoftwareUpdateStatus& status) override;
    ResultCode ResumeInstall(const String& componentId) override;
    ResultCode SetUpdateKey(const String& componentId, const SecureKey& key) override;

    /// Blocks for 3 s before the restart is ordered.
    ResultCode RevertInstall(const String& componentId) override;

private:
    // Start and status.
    void LoadSettings(const String& settingsPath);
    void Subscribe();
    template <typename Service>
    static void SubscribeTo(const System::Rsc::IProxyFactory& proxyFactory, std::shared_ptr<Service>& member);
    void AddHandlers();
    void RemoveHandlers();
    void InitializeState();
    [[nodiscard]] bool ValidateComponentId(const String& componentId) const;

    [[nodiscard]] const String& GetComponentId() const noexcept
    {
        return versionManager.GetRaucComponentId();
    }

    /// Checks the caller's ID and reads the status of the module's own.
    [[nodiscard]] ResultCode ReadStatus(const String& componentId, SoftwareUpdateStatus& status) const;
    [[nodiscard]] bool TryGetStatus(const String& componentId, SoftwareUpdateStatus& status) const;
    [[nodiscard]] String ReadProperty(const String& componentId, const String& propertyName) const;

    // Handlers of the timer and of RAUC's signals.
    void RefreshUpdateStatus() const;
    void OnCompleted(const RaucCompletedSignal& signal);
    void OnProgressChanged(const RaucProgressProperty& progress) const;
    void OnLastErrorChanged(const RaucLastErrorProperty& lastError) const;
    void HandleCompleted(const RaucCompletedSignal& signal);
    [[nodiscard]] bool IsOwnInstallationRunning() const;

    // Packages.
    ResultCode StagePackage(const String& componentId, SoftwareVersionFileType fileType,
                            const String& packagePath, String& message);
    ResultCode ResumeFailed(const String& componentId);

    // Installation.
    [[nodiscard]] bool TryFindFileType(const SoftwareVersionType& version, SoftwareVersionFileType& fileType);
    ResultCode RefuseUnknownVersion(const String& componentId, const SoftwareVersionType& version);
    [[nodiscard]] ResultCode ClearProperties() const;
    ResultCode InstallSoftwarePackage(SoftwareVersionFileType fileType, const SoftwareVersionType& version,
                                      long long delayMs);
    ResultCode InstallSoftwarePackage(SoftwareVersionFileType fileType);
    ResultCode DelayInstallation(SoftwareVersionFileType fileType, const SoftwareVersionType& version,
                                 long long delayMs);
    void StartDelayedInstallation(SoftwareVersionFileType fileType);
    ResultCode StartInstallation(SoftwareVersionFileType fileType);
    [[nodiscard]] String DescribeRevision(SoftwareVersionFileType fileType);
    [[nodiscard]] ResultCode InstallPendingVersion() const;
    [[nodiscard]] ResultCode InstallFallbackVersion() const;

    // Completion, revert and reboot.
    void CompleteInstallation();
    [[nodiscard]] bool DecideInstallation();
    void DeletePendingImage() const;
    [[nodiscard]] bool CompleteInstallationLoadTargetVersion(String& target) const;
    [[nodiscard]] bool CompleteInstallationLoadCurrentVersion(String& slot, String& version);
    [[nodiscard]] bool CompleteInstallationCompare(const String& target, const String& slot,
                                                   const String& version) const;
    [[nodiscard]] bool IsVersionInstalled(const String& target, const String& slot, const String& version,
                                          String& message) const;
    ResultCode Revert(const String& componentId);
    ResultCode GetRunningSlot(String& slot);
    ResultCode SwitchBack(const String& componentId, const SoftwareUpdateStatus& status,
                          const String& installer) const;
    ResultCode Reboot(bool writeMessage) const;

    /// Logs the exception that is being handled.
    static void LogException(const char* name) noexcept;

    /// Runs an operation that lets no exception out.
    template <typename Operation>
    static ResultCode CatchAll(const char* name, const Operation& operation) noexcept
    {
        try
        {
            return operation();
        }
        catch (...)
        {
            LogException(name);
            return ResultCode::OperationFailed;
        }
    }

    /// Runs a part of an installation that was begun; ends the installation when it does not succeed.
    template <typename Operation>
    ResultCode EndUnlessOk(const String& componentId, const Operation& operation)
    {
        ResultCode result = ResultCode::OperationFailed;
        try
        {
            result = operation();
        }
        catch (...)
        {
            installationStarted = false;
            updaterStatus->EndInstallation(componentId, false);
            throw;
        }
        if (result != ResultCode::Ok)
        {
            updaterStatus->EndInstallation(componentId, false);
        }
        return result;
    }

    std::shared_ptr<IUpdaterStatus> updaterStatus;
    RaucUpdaterSettings settings;
    std::shared_ptr<IDeviceInfoService> deviceInfoService;
    std::shared_ptr<IDeviceControlService> deviceControlService;
    std::shared_ptr<DesktopBusManager> desktopBusManager;
    ScheduledExecutorService scheduledExecutor;
    System::Commons::Chrono::Timer updateStatusTimer;
    VersionManager versionManager;
    /// Whether RAUC's progress and errors are those of an installation that this object has begun; false
    /// again when that has failed.
    std::atomic<bool> installationStarted = false;
    /// What a delayed installation waits for; guarded by `delayedVersionMutex`.
    SoftwareVersionType delayedVersion;
    mutable System::Commons::Threading::Mutex delayedVersionMutex;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

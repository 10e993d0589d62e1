#pragma once

#include "Service/ServiceSettings.h"

#include "Zel/AppDomain.h"
#include "Zel/Services/Device/IDeviceControlService.h"
#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/System/Commons/Extensibility/ModuleLibraryBase.h"
#include "Zel/System/Nm/NotificationManager.h"

#include <memory>

namespace Zel::Host::Service
{

/// What modules live in: the process's app domain with the path variable "DataFolder", its service registry
/// and its notification manager; and the libraries that modules come from. One for each process; what it
/// announced is taken back by its destruction, which no module may outlive.
class ModuleHost
{
public:
    using IUpdaterModule = Services::SoftwareUpdate::IUpdaterModule;
    using ModuleLibrary = System::Commons::Extensibility::ModuleLibraryBase<IUpdaterModule>;

    /// `processName` is the process's name in logs.
    ModuleHost(const String& processName, const String& dataFolder);
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    /// Offers to modules what they look up.
    void Register(std::shared_ptr<Services::Device::IDeviceInfoService> deviceInfo,
                  std::shared_ptr<Services::Device::IDeviceControlService> deviceControl,
                  std::shared_ptr<System::Nm::INotificationSink> notifications);

    /// Loads a module's library, which stays loaded, and returns a new module. Throws `Exception` for a
    /// library that cannot be loaded or is none, and for a name that it does not have; exceptions of the
    /// library pass. May be called from any thread.
    [[nodiscard]] std::unique_ptr<IUpdaterModule> Create(const ModuleSettings& settings);

private:
    [[nodiscard]] ModuleLibrary& Load(const String& path);

    AppDomain appDomain;
};

} // namespace Zel::Host::Service

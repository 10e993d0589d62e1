#include "Service/ModuleHost.h"

#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"
#include "Zel/System/Core/Format.h"
#include "Zel/System/Rsc/ServiceManager.h"

#include <dlfcn.h>

#include <utility>

namespace Zel::Host::Service
{

using Services::Device::DeviceControlServiceProxyFactory;
using Services::Device::DeviceInfoServiceProxyFactory;
using System::Commons::Diagnostics::Logging::LogManager;
using System::Core::Format;
using System::Nm::INotificationManager;
using System::Nm::NotificationManager;
using System::Rsc::ServiceManager;

namespace
{

constexpr const char* EntryName = "CreateSoftwareUpdateModuleLibrary";
constexpr const char* Provider = "Zel";

using Entry = ModuleHost::ModuleLibrary* (*)(AppDomain& appDomain);

} // namespace

ModuleHost::ModuleHost(const String& processName, const String& dataFolder) : appDomain(processName)
{
    Singleton<AppDomain>::SetInstance(&appDomain);
    LogManager::AssignAppDomain(appDomain);
    appDomain.SetPathVariable("DataFolder", dataFolder);
}

ModuleHost::~ModuleHost()
{
    ServiceManager::RegisterService(Provider, DeviceInfoServiceProxyFactory::GetInstance(), nullptr);
    ServiceManager::RegisterService(Provider, DeviceControlServiceProxyFactory::GetInstance(), nullptr);
    Singleton<AppDomain>::SetInstance(nullptr);
}

void ModuleHost::Register(std::shared_ptr<Services::Device::IDeviceInfoService> deviceInfo,
                          std::shared_ptr<Services::Device::IDeviceControlService> deviceControl,
                          std::shared_ptr<System::Nm::INotificationSink> notifications)
{
    ServiceManager::RegisterService(Provider, DeviceInfoServiceProxyFactory::GetInstance(),
                                    std::move(deviceInfo));
    ServiceManager::RegisterService(Provider, DeviceControlServiceProxyFactory::GetInstance(),
                                    std::move(deviceControl));
    auto manager = std::make_shared<NotificationManager>();
    manager->AddSink(std::move(notifications));
    appDomain.SetSingleton<INotificationManager>(std::move(manager));
}

std::unique_ptr<ModuleHost::IUpdaterModule> ModuleHost::Create(const ModuleSettings& settings)
{
    auto module = Load(settings.library).GetFactory().CreateModule(settings.name);
    if (!module)
    {
        throw Exception(Format("The library '{0}' has no module '{1}'.", settings.library, settings.name));
    }
    return module;
}

ModuleHost::ModuleLibrary& ModuleHost::Load(const String& path)
{
    // Never closed: the library's objects, and code that threads may still be leaving, live to the process's
    // end. Loading it again only counts.
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
    {
        // The C library keeps one text for each thread.
        const char* reason = dlerror(); // NOLINT(concurrency-mt-unsafe)
        throw Exception(Format("The library '{0}' could not be loaded: {1}", path, reason));
    }
    void* symbol = dlsym(library, EntryName);
    if (symbol == nullptr)
    {
        throw Exception(Format("'{0}' is not a module library: it has no '{1}'.", path, EntryName));
    }
    ModuleLibrary* created = reinterpret_cast<Entry>(symbol)(appDomain);
    if (created == nullptr)
    {
        throw Exception(Format("The library '{0}' gave no module library.", path));
    }
    return *created;
}

} // namespace Zel::Host::Service

#include "Support/ModulePlatform.h"

#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"
#include "Zel/Singleton.h"
#include "Zel/System/Rsc/ServiceManager.h"

namespace Zel::Tests::Support
{

using Services::Device::DeviceControlServiceProxyFactory;
using Services::Device::DeviceInfoServiceProxyFactory;
using System::Nm::INotificationManager;
using System::Rsc::ServiceManager;

ModulePlatform::ModulePlatform()
{
    notificationManager->AddSink(notifications);
    appDomain.SetSingleton<INotificationManager>(notificationManager);
    Singleton<AppDomain>::SetInstance(&appDomain);
    ServiceManager::RegisterService("Zel", DeviceInfoServiceProxyFactory::GetInstance(), deviceInfo);
    ServiceManager::RegisterService("Zel", DeviceControlServiceProxyFactory::GetInstance(), deviceControl);
}

ModulePlatform::~ModulePlatform()
{
    UnregisterDeviceInfo();
    UnregisterDeviceControl();
    Singleton<AppDomain>::SetInstance(nullptr);
}

String ModulePlatform::WriteSettings(const String& elements) const
{
    return folder.Write("settings.xml",
                        "<RaucUpdaterSettingsDocument><PendingUpdatePath>pending.raucb</PendingUpdatePath>"
                        "<ManufacturerUri>" +
                            ManufacturerUri + "</ManufacturerUri>" + elements +
                            "</RaucUpdaterSettingsDocument>");
}

void ModulePlatform::UnregisterDeviceInfo()
{
    ServiceManager::RegisterService("Zel", DeviceInfoServiceProxyFactory::GetInstance(), nullptr);
}

void ModulePlatform::UnregisterDeviceControl()
{
    ServiceManager::RegisterService("Zel", DeviceControlServiceProxyFactory::GetInstance(), nullptr);
}

} // namespace Zel::Tests::Support

#include "Support/ModulePlatform.h"

#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"
#include "Zel/Singleton.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Rsc/ServiceManager.h"

namespace Zel::Tests::Support
{

using Services::Device::DeviceControlServiceProxyFactory;
using Services::Device::DeviceInfoServiceProxyFactory;
using System::Nm::INotificationManager;
using System::Rsc::ServiceManager;

namespace
{

/// Tells the log of each notification: "info NotificationLog: {severity} {name} ({sender}): {message}".
class NotificationLog : public System::Nm::INotificationSink,
                        private System::Commons::Diagnostics::Logging::Loggable<NotificationLog>
{
public:
    void Write(const System::Nm::Notification& notification) override
    {
        Log(System::Commons::Diagnostics::Logging::LogLevel::Info, "{0} {1} ({2}): {3}",
            ToString(notification.severity), notification.name, notification.sender, notification.message);
    }
};

} // namespace

ModulePlatform::ModulePlatform()
{
    notificationManager->AddSink(std::make_shared<NotificationLog>());
    appDomain.SetSingleton<INotificationManager>(notificationManager);
    Singleton<AppDomain>::SetInstance(&appDomain);
    Register(deviceInfo, deviceControl);
}

ModulePlatform::~ModulePlatform()
{
    Register(nullptr, nullptr);
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

void ModulePlatform::Register(const std::shared_ptr<IService>& info, const std::shared_ptr<IService>& control)
{
    ServiceManager::RegisterService("Zel", DeviceInfoServiceProxyFactory::GetInstance(), info);
    ServiceManager::RegisterService("Zel", DeviceControlServiceProxyFactory::GetInstance(), control);
}

} // namespace Zel::Tests::Support

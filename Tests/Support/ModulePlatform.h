#pragma once

#include "Support/FakeUpdaterStatus.h"
#include "Support/TemporaryFolder.h"
#include "Zel/AppDomain.h"
#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"
#include "Zel/System/Nm/NotificationManager.h"
#include "Zel/System/Rsc/ServiceManager.h"

namespace Zel::Tests::Support
{

/// Facts about a device that tests set while nobody asks. Begins with those of a complete device: article
/// "Controller" number 1234567, firmware 1.0.0.0.
class FakeDeviceInfo : public Services::Device::IDeviceInfoService
{
public:
    FakeDeviceInfo() { SetFirmwareVersion("1.0.0.0"); }

    [[nodiscard]] Variant GetItem(const Key& key) override
    {
        const auto item = items.find(key.ToString());
        return item == items.end() ? Variant() : item->second;
    }

    /// A value of the none type makes the fact unavailable.
    void Set(const String& key, const Variant& value) { items[key] = value; }

    /// Sets the four parts of the firmware version.
    void SetFirmwareVersion(const String& version)
    {
        std::istringstream text(version);
        String number;
        for (const char* part : {"Major", "Minor", "Patch", "Build"})
        {
            std::getline(text, number, '.');
            Set(String("General.Firmware.Version") + part, number);
        }
    }

private:
    std::map<String, Variant> items = {{"General.ArticleName", "Controller"},
                                       {"General.ArticleNumber", 1234567},
                                       {"General.VendorName", "Corvane Systems"},
                                       {"General.Firmware.BuildDate", "2026-11-21"},
                                       {"General.Firmware.BuildTime", "06:59:33"}};
};

/// Tells the log of each restart that is ordered: "info FakeDeviceControl: RestartDevice". Thread-safe.
class FakeDeviceControl : public Services::Device::IDeviceControlService,
                          private System::Commons::Diagnostics::Logging::Loggable<FakeDeviceControl>
{
public:
    void RestartDevice() override
    {
        restarted = std::chrono::steady_clock::now();
        Log(System::Commons::Diagnostics::Logging::LogLevel::Info, "RestartDevice");
    }

    /// When the last restart was ordered.
    std::atomic<std::chrono::steady_clock::time_point> restarted;
};

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

/// What a service offers to a module, from fakes: the app domain as the process's one with a notification
/// manager in it that tells the log, the two device services as registered ones, a status store, and a folder
/// with a settings document and the pending bundle. One at a time.
class ModulePlatform
{
public:
    using IService = System::Rsc::IService;

    /// The component that the fake device is.
    inline static const String ComponentId = "Controller";
    inline static const String ManufacturerUri = "https://corvane.example";

    ModulePlatform()
    {
        notificationManager->AddSink(std::make_shared<NotificationLog>());
        appDomain.SetSingleton<System::Nm::INotificationManager>(notificationManager);
        Singleton<AppDomain>::SetInstance(&appDomain);
        Register(deviceInfo, deviceControl);
    }

    /// Takes back what was registered.
    ~ModulePlatform()
    {
        Register(nullptr, nullptr);
        Singleton<AppDomain>::SetInstance(nullptr);
    }

    /// Writes the settings document with `elements` beside the pending update path and the manufacturer's
    /// URI, and returns its path.
    String WriteSettings(const String& elements = "") const
    {
        return folder.Write(
            "settings.xml",
            "<RaucUpdaterSettingsDocument><PendingUpdatePath>pending.raucb</PendingUpdatePath>"
            "<ManufacturerUri>" +
                ManufacturerUri + "</ManufacturerUri>" + elements + "</RaucUpdaterSettingsDocument>");
    }

    /// Where the settings say that the pending bundle lies.
    [[nodiscard]] String GetPendingPath() const { return folder / "pending.raucb"; }

    /// Registers the two device services; null for none.
    static void Register(const std::shared_ptr<IService>& info, const std::shared_ptr<IService>& control)
    {
        using Services::Device::DeviceControlServiceProxyFactory;
        using Services::Device::DeviceInfoServiceProxyFactory;
        using System::Rsc::ServiceManager;
        ServiceManager::RegisterService("Zel", DeviceInfoServiceProxyFactory::GetInstance(), info);
        ServiceManager::RegisterService("Zel", DeviceControlServiceProxyFactory::GetInstance(), control);
    }

    const TemporaryFolder folder;
    AppDomain appDomain{"module-tests"};
    const std::shared_ptr<System::Nm::NotificationManager> notificationManager =
        std::make_shared<System::Nm::NotificationManager>();
    const std::shared_ptr<FakeUpdaterStatus> status = std::make_shared<FakeUpdaterStatus>();
    const std::shared_ptr<FakeDeviceInfo> deviceInfo = std::make_shared<FakeDeviceInfo>();
    const std::shared_ptr<FakeDeviceControl> deviceControl = std::make_shared<FakeDeviceControl>();
};

} // namespace Zel::Tests::Support

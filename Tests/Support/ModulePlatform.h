#pragma once

#include "Support/FakeDeviceControl.h"
#include "Support/FakeDeviceInfo.h"
#include "Support/FakeUpdaterStatus.h"
#include "Support/TemporaryFolder.h"
#include "Zel/AppDomain.h"
#include "Zel/String.h"
#include "Zel/System/Nm/NotificationManager.h"
#include "Zel/System/Rsc/IService.h"

#include <memory>

namespace Zel::Tests::Support
{

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

    ModulePlatform();

    /// Takes back what was registered.
    ~ModulePlatform();
    ModulePlatform(const ModulePlatform&) = delete;
    ModulePlatform& operator=(const ModulePlatform&) = delete;

    /// Writes the settings document with `elements` beside the pending update path and the manufacturer's
    /// URI, and returns its path.
    String WriteSettings(const String& elements = "") const;

    /// Where the settings say that the pending bundle lies.
    [[nodiscard]] String GetPendingPath() const { return folder / "pending.raucb"; }

    /// Registers the two device services; null for none.
    static void Register(const std::shared_ptr<IService>& info, const std::shared_ptr<IService>& control);

    const TemporaryFolder folder;
    AppDomain appDomain{"module-tests"};
    const std::shared_ptr<System::Nm::NotificationManager> notificationManager =
        std::make_shared<System::Nm::NotificationManager>();
    const std::shared_ptr<FakeUpdaterStatus> status = std::make_shared<FakeUpdaterStatus>();
    const std::shared_ptr<FakeDeviceInfo> deviceInfo = std::make_shared<FakeDeviceInfo>();
    const std::shared_ptr<FakeDeviceControl> deviceControl = std::make_shared<FakeDeviceControl>();
};

} // namespace Zel::Tests::Support

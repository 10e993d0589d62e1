#include "RaucUpdater/RaucUpdaterModule.h"

#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/Security/SecurityNotifications.h"
#include "Zel/Exception.h"
#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"
#include "Zel/System/Commons/Event.h"
#include "Zel/System/Commons/InvalidCastException.h"
#include "Zel/System/Commons/Xml/XmlConfigDocument.h"
#include "Zel/System/Core/Format.h"
#include "Zel/System/Rsc/ServiceManager.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Internal::DesktopBus::PropertiesChangedSignal;
using Internal::Security::SecurityNotifications;
using Services::Device::DeviceControlServiceProxyFactory;
using Services::Device::DeviceInfoServiceProxyFactory;
using Services::SoftwareUpdate::InstallationState;
using System::Commons::Delegate;
using System::Commons::InvalidCastException;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Xml::XmlConfigDocument;
using System::Core::Format;
using System::Rsc::IProxyFactory;
using System::Rsc::ServiceManager;

namespace
{

/// Returns null when the service is not registered; throws `InvalidCastException` when it is another thing.
template <typename Service>
std::shared_ptr<Service> FindService(const IProxyFactory& proxyFactory)
{
    const auto service = ServiceManager::GetService("Zel", proxyFactory);
    auto typed = std::dynamic_pointer_cast<Service>(service);
    if (service && !typed)
    {
        throw InvalidCastException(Format("The service does not implement service interface '{0}'.",
                                          proxyFactory.GetInterfaceName()));
    }
    return typed;
}

} // namespace

RaucUpdaterModule::RaucUpdaterModule()
    : desktopBusManager(std::make_shared<DesktopBusManager>()),
      updateStatusTimer(TimerInterval, TimerName, 0, 0)
{
    updateStatusTimer.Elapsed.Add(Delegate<>::Bind<&RaucUpdaterModule::RefreshUpdateStatus>(this));
    SecurityNotifications::CreateInstance();
}

RaucUpdaterModule::~RaucUpdaterModule()
{
    Log(LogLevel::Debug, "Dispose ({0})", "~RaucUpdaterModule");
    updateStatusTimer.Stop();
    updateStatusTimer.Elapsed.Remove(Delegate<>::Bind<&RaucUpdaterModule::RefreshUpdateStatus>(this));
    scheduledExecutor.Cancel();
    // Ends the listener, so that no handler runs when the delegates are removed.
    desktopBusManager->Close();
    RemoveHandlers();
    SecurityNotifications::DestroyInstance();
}

void RaucUpdaterModule::Initialize(const String& settingsPath, std::shared_ptr<IUpdaterStatus> statusStore)
{
    Log(LogLevel::Debug, "{0}: {1}", "Initialize", settingsPath);
    if (!statusStore)
    {
        throw Exception("updaterStatus is null.");
    }
    updaterStatus = std::move(statusStore);
    LoadSettings(settingsPath);
    Subscribe();
    versionManager.Initialize(updaterStatus, desktopBusManager, deviceInfoService, settings);
    AddHandlers();
    if (!desktopBusManager->Open())
    {
        throw Exception("Failed to open D-BUS.");
    }
    InitializeState();
}

void RaucUpdaterModule::LoadSettings(const String& settingsPath)
{
    XmlConfigDocument document(RaucUpdaterSettings::XmlRootElement, settings);
    document.Load(settingsPath);
}

void RaucUpdaterModule::Subscribe()
{
    SubscribeTo(DeviceInfoServiceProxyFactory::GetInstance(), deviceInfoService);
    SubscribeTo(DeviceControlServiceProxyFactory::GetInstance(), deviceControlService);
}

template <typename Service>
void RaucUpdaterModule::SubscribeTo(const IProxyFactory& proxyFactory, std::shared_ptr<Service>& member)
{
    if (auto service = FindService<Service>(proxyFactory))
    {
        member = std::move(service);
    }
    if (!member)
    {
        Log(LogLevel::Error, "Failed to subscribe to {0}.", proxyFactory.GetInterfaceName());
    }
}

void RaucUpdaterModule::AddHandlers()
{
    RaucCompletedSignal::OnCompleted.Add(
        Delegate<const RaucCompletedSignal&>::Bind<&RaucUpdaterModule::OnCompleted>(this));
    PropertiesChangedSignal::OnProgressChanged.Add(
        Delegate<const RaucProgressProperty&>::Bind<&RaucUpdaterModule::OnProgressChanged>(this));
    PropertiesChangedSignal::OnLastErrorChanged.Add(
        Delegate<const RaucLastErrorProperty&>::Bind<&RaucUpdaterModule::OnLastErrorChanged>(this));
}

void RaucUpdaterModule::RemoveHandlers()
{
    RaucCompletedSignal::OnCompleted.Remove(
        Delegate<const RaucCompletedSignal&>::Bind<&RaucUpdaterModule::OnCompleted>(this));
    PropertiesChangedSignal::OnProgressChanged.Remove(
        Delegate<const RaucProgressProperty&>::Bind<&RaucUpdaterModule::OnProgressChanged>(this));
    PropertiesChangedSignal::OnLastErrorChanged.Remove(
        Delegate<const RaucLastErrorProperty&>::Bind<&RaucUpdaterModule::OnLastErrorChanged>(this));
}

void RaucUpdaterModule::InitializeState()
{
    SoftwareUpdateStatus status;
    if (!TryGetStatus(GetComponentId(), status))
    {
        throw Exception("Failed to initialize state. Unable to get status information.");
    }
    if (status.state == InstallationState::Installing)
    {
        CompleteInstallation();
    }
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::GetStatus(const String& componentId,
                                                           SoftwareUpdateStatus& status)
{
    if (!ValidateComponentId(componentId))
    {
        return ResultCode::InvalidArgument;
    }
    if (!TryGetStatus(componentId, status))
    {
        return ResultCode::GeneralError;
    }
    if (!status.revertible)
    {
        return ResultCode::Ok;
    }
    const String installer = ReadProperty(GetComponentId(), VersionManager::PropertyInstallerSlotName);
    if (installer.empty())
    {
        status.revertible = false;
        return ResultCode::Ok;
    }
    String slot;
    if (!versionManager.GetBootedOrPrimarySlot(slot))
    {
        slot.clear();
        Log(LogLevel::Error, "{0}: {1}", "GetStatus",
            settings.FallbackOnPrimary() ? "Failed to get neither booted nor primary slot."
                                         : "Failed to get booted slot.");
    }
    // On the slot that the installation started from there is nothing to go back to.
    status.revertible = slot != installer;
    return ResultCode::Ok;
}

bool RaucUpdaterModule::ValidateComponentId(const String& componentId) const
{
    const String& expected = GetComponentId();
    if (ToLower(componentId) == ToLower(expected))
    {
        return true;
    }
    Log(LogLevel::Debug, "The component ID '{0}' is not supported. Expecting '{1}'", componentId, expected);
    return false;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::ReadStatus(const String& componentId,
                                                            SoftwareUpdateStatus& status) const
{
    if (!ValidateComponentId(componentId))
    {
        return ResultCode::InvalidArgument;
    }
    return TryGetStatus(GetComponentId(), status) ? ResultCode::Ok : ResultCode::GeneralError;
}

bool RaucUpdaterModule::TryGetStatus(const String& componentId, SoftwareUpdateStatus& status) const
{
    return updaterStatus && updaterStatus->GetStatus(componentId, status);
}

String RaucUpdaterModule::ReadProperty(const String& componentId, const String& propertyName) const
{
    String value;
    updaterStatus->ReadProperty(componentId, propertyName, value);
    return value;
}

void RaucUpdaterModule::LogException(const char* name) noexcept
{
    try
    {
        Log(LogLevel::Error, "{0}: {1}", name, DescribeCurrentException());
    }
    catch (...)
    {
        // Not even memory for the text: the caller's result has to do.
        return;
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

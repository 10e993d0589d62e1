#include "RaucUpdater/Internal/Security/SecurityNotifications.h"

#include "Zel/AppDomain.h"
#include "Zel/DateTime.h"
#include "Zel/Singleton.h"
#include "Zel/System/Core/Format.h"
#include "Zel/System/Nm/Severity.h"

#include <mutex>
#include <shared_mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security
{

using System::Core::Format;
using System::Nm::INotificationManager;
using System::Nm::Severity;

SecurityNotifications::SecurityNotifications()
    : notificationManager(Singleton<AppDomain>::GetInstance().GetSingleton<INotificationManager>()),
      succeeded(NotificationNamePrefix + "Succeeded", SenderName, Severity::Information,
                *notificationManager),
      failed(NotificationNamePrefix + "Failed", SenderName, Severity::Error, *notificationManager)
{
}

SecurityNotifications::~SecurityNotifications() = default;

void SecurityNotifications::CreateInstance()
{
    const std::unique_lock lock(InstanceLock);
    if (!Singleton<SecurityNotifications>::HasInstance())
    {
        Singleton<SecurityNotifications>::SetInstance(std::make_unique<SecurityNotifications>().release());
    }
}

void SecurityNotifications::DestroyInstance() noexcept
{
    const std::unique_lock lock(InstanceLock);
    const std::unique_ptr<SecurityNotifications> instance(Singleton<SecurityNotifications>::TryGetInstance());
    Singleton<SecurityNotifications>::SetInstance(nullptr);
}

void SecurityNotifications::SendInstallationSucceededNotification(const String& version)
{
    Send(&SecurityNotifications::succeeded,
         Format("Installation of firmware package (version: {}) successful.", version));
}

void SecurityNotifications::SendInstallationFailedNotification(const String& version, const String& reason)
{
    Send(&SecurityNotifications::failed,
         Format("Failed to install firmware package (version: {}). Reason: {}.", version, reason));
}

void SecurityNotifications::Send(Registration SecurityNotifications::*registration, const String& message)
{
    const std::shared_lock lock(InstanceLock);
    const SecurityNotifications& instance = Singleton<SecurityNotifications>::GetInstance();
    (instance.*registration).SendNotificationWithTimestamp(DateTime::GetUtcNow(), message);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security

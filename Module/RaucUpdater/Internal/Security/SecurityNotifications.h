#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Threading/ReadWriteLock.h"
#include "Zel/System/Nm/INotificationManager.h"
#include "Zel/System/Nm/NotificationRegistration.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <memory>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security
{

/// Reports how installations ended, as security notifications. One per process, as
/// `Singleton<SecurityNotifications>`: whichever module comes first creates it, whichever goes first takes it
/// along. Thread-safe.
class SecurityNotifications
{
public:
    /// What both notification names begin with; "Succeeded" or "Failed" follows directly.
    inline static const String NotificationNamePrefix =
        "Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.";
    inline static const String SenderName = "Software Update";

    /// Registers both notifications with the notification manager of `Singleton<AppDomain>`. Throws
    /// `Exception` when there is no app domain or no manager in it, and what the manager throws.
    SecurityNotifications();

    /// Unregisters the failed notification, then the succeeded one.
    ~SecurityNotifications();
    SecurityNotifications(const SecurityNotifications&) = delete;
    SecurityNotifications& operator=(const SecurityNotifications&) = delete;

    /// Creates the singleton unless there is one; exceptions of the constructor pass.
    static void CreateInstance();

    /// Deletes the singleton, when there is one; waits for notifications that are being sent.
    static void DestroyInstance() noexcept;

    /// Sends that `version` was installed, with the present time. Throws `Exception` when there is no
    /// singleton, and what the manager throws.
    static void SendInstallationSucceededNotification(const String& version);

    /// Sends that `version` was not installed and why; throws as its counterpart.
    static void SendInstallationFailedNotification(const String& version, const String& reason);

private:
    using Registration =
        System::Nm::NotificationRegistration<System::NmPayload::Security::SecurityNotificationPayload>;

    static void Send(Registration SecurityNotifications::*registration, const String& message);

    /// Held shared while a notification is sent, exclusively while the singleton comes or goes.
    inline static System::Commons::Threading::ReadWriteLock InstanceLock;

    std::shared_ptr<System::Nm::INotificationManager> notificationManager;
    Registration succeeded;
    Registration failed;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security

#pragma once

#include "Service/StatusStore.h"

#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Nm/NotificationManager.h"

#include <memory>

namespace Zel::Host::Service
{

/// Where the process's notifications go: the system journal, with fields of their own, and the status store.
class Notifications : public System::Nm::INotificationSink,
                      private System::Commons::Diagnostics::Logging::Loggable<Notifications>
{
public:
    /// Notifications of the service itself.
    /// An installation or revert that the service, RAUC or the power left in the middle.
    inline static const String Interrupted = "Zel.SoftwareUpdate.Installation.Interrupted";
    /// One that could not be carried out, in the boot that it began in; the module reports those of a restart.
    inline static const String InstallationFailed = "Zel.SoftwareUpdate.Installation.Failed";
    /// It is in place, but the device could not be restarted.
    inline static const String RestartNeeded = "Zel.SoftwareUpdate.Restart.Needed";
    inline static const String SlotActivated = "Zel.SoftwareUpdate.Slot.ActivatedByOthers";
    inline static const String StoreSetAside = "Zel.SoftwareUpdate.StatusStore.SetAside";

    explicit Notifications(std::shared_ptr<StatusStore> store);
    ~Notifications() override;
    Notifications(const Notifications&) = delete;
    Notifications& operator=(const Notifications&) = delete;

    /// Records an error that the service itself has found.
    void Report(const String& name, const String& message);

    /// A store that fails is logged at error level; the journal has the notification then.
    void Write(const System::Nm::Notification& notification) override;

private:
    const std::shared_ptr<StatusStore> store;
};

} // namespace Zel::Host::Service

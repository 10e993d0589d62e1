#pragma once

#include "Zel/DateTime.h"
#include "Zel/Exception.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Nm/INotificationManager.h"

#include <utility>

namespace Zel::System::Nm
{

/// A notification name, registered for payloads of type `Payload` as long as this object lives or until
/// `Dispose`. The manager must outlive it.
template <typename Payload>
class NotificationRegistration
    : private Commons::Diagnostics::Logging::Loggable<NotificationRegistration<Payload>>
{
public:
    /// Registers; exceptions of the manager pass.
    NotificationRegistration(String notificationName, String senderName, Severity severity,
                             INotificationManager& notificationManager)
        : notificationName(std::move(notificationName)), senderName(std::move(senderName)),
          severity(severity), notificationManager(&notificationManager),
          id(notificationManager.Register(this->notificationName, this->senderName, severity,
                                          typeid(Payload)))
    {
    }

    ~NotificationRegistration() { Dispose(); }

    NotificationRegistration(const NotificationRegistration&) = delete;
    NotificationRegistration& operator=(const NotificationRegistration&) = delete;

    /// Sends a payload built from `message`; exceptions of the manager pass.
    void SendNotificationWithTimestamp(const DateTime& timestamp, const String& message) const
    {
        notificationManager->Send(id, timestamp, Payload(message));
    }

    /// Unregisters; does nothing the second time. Never throws: a failure is logged at error level.
    void Dispose() noexcept
    {
        if (id == 0)
        {
            return;
        }
        try
        {
            notificationManager->Unregister(std::exchange(id, 0));
        }
        catch (const Exception& exception)
        {
            Log(Commons::Diagnostics::Logging::LogLevel::Error,
                "Caught exception while unregistering notificationName={}: {}", notificationName,
                exception.ToString());
        }
        catch (...)
        {
            Log(Commons::Diagnostics::Logging::LogLevel::Error,
                "Caught exception while unregistering notificationName={}", notificationName);
        }
    }

private:
    using Commons::Diagnostics::Logging::Loggable<NotificationRegistration<Payload>>::Log;

    const String notificationName;
    const String senderName;
    const Severity severity;
    INotificationManager* notificationManager;
    NotificationId id;
};

} // namespace Zel::System::Nm

#pragma once

#include "Zel/DateTime.h"
#include "Zel/String.h"
#include "Zel/System/Nm/Severity.h"
#include "Zel/Visibility.h"

#include <cstdint>
#include <typeinfo>

namespace Zel::System::Nm
{

/// The id of a registered notification name; 0 is none.
using NotificationId = std::uint32_t;

/// What a notification carries besides its name, sender, severity and time.
class ZEL_API INotificationPayload
{
public:
    virtual ~INotificationPayload();

    /// The text to show.
    [[nodiscard]] virtual const String& GetMessage() const noexcept = 0;
};

/// Takes notifications under names that were registered before. Thread-safe.
class ZEL_API INotificationManager
{
public:
    virtual ~INotificationManager();

    /// Registers a name for payloads of `payloadType` and returns its id, never 0. Throws `ArgumentException`
    /// for an empty name and for one that is registered.
    [[nodiscard]] virtual NotificationId Register(const String& notificationName, const String& senderName,
                                                  Severity severity, const std::type_info& payloadType) = 0;

    /// Throws `ArgumentException` for an id that is not registered.
    virtual void Unregister(NotificationId id) = 0;

    /// Sends `payload` under `id`. Throws `ArgumentException` for an id that is not registered or a payload
    /// of another type than the registered one.
    virtual void Send(NotificationId id, const DateTime& timestamp, const INotificationPayload& payload) = 0;
};

} // namespace Zel::System::Nm

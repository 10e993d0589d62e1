#include "RaucUpdater/Internal/DesktopBus/DesktopBusError.h"

#include <dbus/dbus.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

DesktopBusError::DesktopBusError() : error(std::make_unique<DBusError>())
{
    dbus_error_init(error.get());
}

DesktopBusError::DesktopBusError(const DesktopBusMessage& message) : DesktopBusError()
{
    if (message.IsError())
    {
        dbus_set_error_from_message(error.get(), message.Get());
    }
}

// No dbus_error_free, which is meant.
DesktopBusError::~DesktopBusError() = default;

bool DesktopBusError::Set(const DesktopBusMessage& message)
{
    if (!message.IsError())
    {
        return false;
    }
    dbus_error_free(error.get());
    return dbus_set_error_from_message(error.get(), message.Get()) != FALSE;
}

bool DesktopBusError::IsSet() const noexcept
{
    return dbus_error_is_set(error.get()) != FALSE;
}

String DesktopBusError::GetName() const
{
    return IsSet() ? error->name : String();
}

String DesktopBusError::GetMessage() const
{
    return IsSet() && error->message != nullptr ? error->message : String();
}

bool DesktopBusError::IsNoReply() const
{
    return GetName() == NoReplyName;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

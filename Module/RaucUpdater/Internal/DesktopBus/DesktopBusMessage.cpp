#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusValidation.h"

#include <dbus/dbus.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

static_assert(
    DesktopBusField::ByteType == DBUS_TYPE_BYTE && DesktopBusField::BooleanType == DBUS_TYPE_BOOLEAN &&
    DesktopBusField::Int16Type == DBUS_TYPE_INT16 && DesktopBusField::Uint16Type == DBUS_TYPE_UINT16 &&
    DesktopBusField::Int32Type == DBUS_TYPE_INT32 && DesktopBusField::Uint32Type == DBUS_TYPE_UINT32 &&
    DesktopBusField::Int64Type == DBUS_TYPE_INT64 && DesktopBusField::Uint64Type == DBUS_TYPE_UINT64 &&
    DesktopBusField::DoubleType == DBUS_TYPE_DOUBLE && DesktopBusField::StringType == DBUS_TYPE_STRING &&
    DesktopBusField::ObjectPathType == DBUS_TYPE_OBJECT_PATH &&
    DesktopBusField::SignatureType == DBUS_TYPE_SIGNATURE && DesktopBusField::ArrayType == DBUS_TYPE_ARRAY &&
    DesktopBusField::StructType == DBUS_TYPE_STRUCT &&
    DesktopBusField::DictEntryType == DBUS_TYPE_DICT_ENTRY &&
    DesktopBusField::VariantType == DBUS_TYPE_VARIANT);

namespace
{

[[nodiscard]] DBusMessage* NewMethodCall(const String& destination, const String& path,
                                         const String& interfaceName, const String& method)
{
    const bool isValid = IsBusName(destination) && IsObjectPath(path) && IsInterfaceName(interfaceName) &&
                         IsMemberName(method);
    return isValid ? dbus_message_new_method_call(destination.c_str(), path.c_str(), interfaceName.c_str(),
                                                  method.c_str())
                   : nullptr;
}

} // namespace

void DesktopBusMessage::Unref::operator()(DBusMessage* owned) const noexcept
{
    dbus_message_unref(owned);
}

DesktopBusMessage::DesktopBusMessage() noexcept = default;

DesktopBusMessage::DesktopBusMessage(const String& destination, const String& path,
                                     const String& interfaceName, const String& method)
    : message(NewMethodCall(destination, path, interfaceName, method))
{
}

DesktopBusMessage::DesktopBusMessage(DBusMessage* message) noexcept : message(message) {}

DesktopBusMessage::~DesktopBusMessage() = default;

DesktopBusMessage::DesktopBusMessage(DesktopBusMessage&& other) noexcept = default;

DesktopBusMessage& DesktopBusMessage::operator=(DesktopBusMessage&& other) noexcept = default;

bool DesktopBusMessage::IsError() const noexcept
{
    return IsSet() && dbus_message_get_type(message.get()) == DBUS_MESSAGE_TYPE_ERROR;
}

bool DesktopBusMessage::IsMethodReply() const noexcept
{
    return IsSet() && dbus_message_get_type(message.get()) == DBUS_MESSAGE_TYPE_METHOD_RETURN;
}

bool DesktopBusMessage::IsSignal() const noexcept
{
    return IsSet() && dbus_message_get_type(message.get()) == DBUS_MESSAGE_TYPE_SIGNAL;
}

bool DesktopBusMessage::IsSignal(const String& interfaceName, const String& member) const noexcept
{
    return IsSignal() && dbus_message_is_signal(message.get(), interfaceName.c_str(), member.c_str());
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include <dbus/dbus.h>

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

namespace
{

template <typename Value>
[[nodiscard]] Value ReadBasic(const std::unique_ptr<DBusMessageIter>& iter)
{
    Value value{};
    dbus_message_iter_get_basic(iter.get(), &value);
    return value;
}

} // namespace

std::vector<DesktopBusField> DesktopBusMessage::ReadFields() const
{
    if (!IsSet())
    {
        return {};
    }
    unsigned short count = 0;
    return ReadFields(nullptr, nullptr, count);
}

DesktopBusMessage::IterPtr DesktopBusMessage::Enter(const IterPtr& parent) const
{
    auto iter = std::make_unique<DBusMessageIter>();
    if (parent != nullptr)
    {
        dbus_message_iter_recurse(parent.get(), iter.get());
    }
    else if (!dbus_message_iter_init(message.get(), iter.get()))
    {
        return nullptr;
    }
    return iter;
}

DesktopBusMessage::Fields DesktopBusMessage::ReadFields(const IterPtr& parent, String* signature,
                                                        unsigned short& count) const
{
    const auto iter = Enter(parent);
    if (iter == nullptr)
    {
        return {};
    }
    if (signature != nullptr)
    {
        *signature = GetSignature(iter);
    }
    Fields fields;
    // An empty array is entered, too. Asking for the number of elements would walk all of them, also those
    // beyond the limit.
    int type = dbus_message_iter_get_arg_type(iter.get());
    while (type != DBUS_TYPE_INVALID && count < MaximumFieldCount)
    {
        ++count;
        fields.push_back(ReadField(parent, iter, type, count));
        dbus_message_iter_next(iter.get());
        type = dbus_message_iter_get_arg_type(iter.get());
    }
    return fields;
}

DesktopBusField DesktopBusMessage::ReadField(const IterPtr& parent, const IterPtr& iter, int type,
                                             unsigned short& count) const
{
    DesktopBusField field;
    switch (type)
    {
    case DBUS_TYPE_BYTE:
        field.SetByte(ReadFieldByte(iter));
        break;
    case DBUS_TYPE_BOOLEAN:
        field.SetBoolean(ReadFieldBoolean(iter));
        break;
    case DBUS_TYPE_INT16:
        field.SetInt16(ReadFieldInt16(iter));
        break;
    case DBUS_TYPE_UINT16:
        field.SetUint16(ReadFieldUint16(iter));
        break;
    case DBUS_TYPE_INT32:
        field.SetInt32(ReadFieldInt32(iter));
        break;
    case DBUS_TYPE_UINT32:
        field.SetUint32(ReadFieldUint32(iter));
        break;
    case DBUS_TYPE_INT64:
        field.SetInt64(ReadFieldInt64(iter));
        break;
    case DBUS_TYPE_UINT64:
        field.SetUint64(ReadFieldUint64(iter));
        break;
    case DBUS_TYPE_DOUBLE:
        field.SetDouble(ReadFieldDouble(iter));
        break;
    case DBUS_TYPE_STRING:
        field.SetString(ReadFieldString(iter));
        break;
    case DBUS_TYPE_OBJECT_PATH:
        field.SetObjectPath(ReadFieldString(iter));
        break;
    case DBUS_TYPE_SIGNATURE:
        field.SetSignature(ReadFieldString(iter));
        break;
    case DBUS_TYPE_ARRAY:
    case DBUS_TYPE_STRUCT:
    case DBUS_TYPE_DICT_ENTRY:
    case DBUS_TYPE_VARIANT:
        return ReadFieldContainer(iter, type, count);
    default:
        Log(LogLevel::Warning, "Unable to read unknown DBUS data type {0} with signature {1}.", type,
            GetSignature(Enter(parent)));
        break;
    }
    return field;
}

DesktopBusField DesktopBusMessage::ReadFieldContainer(const IterPtr& iter, int type,
                                                      unsigned short& count) const
{
    DesktopBusField field;
    if (type == DBUS_TYPE_ARRAY)
    {
        String signature;
        auto elements = ReadFields(iter, &signature, count);
        field.SetArray(std::move(elements), std::move(signature));
    }
    else if (type == DBUS_TYPE_STRUCT)
    {
        field.SetStruct(ReadFields(iter, nullptr, count));
    }
    else if (type == DBUS_TYPE_DICT_ENTRY)
    {
        field.SetDictEntry(ReadFields(iter, nullptr, count));
    }
    else
    {
        String signature;
        auto content = ReadFields(iter, &signature, count);
        if (!content.empty())
        {
            field.SetVariant(std::move(content.front()), std::move(signature));
        }
    }
    return field;
}

String DesktopBusMessage::GetSignature(const IterPtr& iter)
{
    if (iter == nullptr)
    {
        return {};
    }
    const int type = dbus_message_iter_get_arg_type(iter.get());
    if (dbus_type_is_basic(type))
    {
        // The signature of a basic type is its code, which is cheaper to tell.
        return String(1, static_cast<char>(type));
    }
    const std::unique_ptr<char, decltype(&dbus_free)> text(dbus_message_iter_get_signature(iter.get()),
                                                           &dbus_free);
    return text != nullptr ? String(text.get()) : String();
}

String DesktopBusMessage::ReadFieldString(const IterPtr& iter)
{
    return ReadBasic<const char*>(iter);
}

bool DesktopBusMessage::ReadFieldBoolean(const IterPtr& iter)
{
    return ReadBasic<dbus_bool_t>(iter) != FALSE;
}

std::uint8_t DesktopBusMessage::ReadFieldByte(const IterPtr& iter)
{
    return ReadBasic<std::uint8_t>(iter);
}

std::int16_t DesktopBusMessage::ReadFieldInt16(const IterPtr& iter)
{
    return ReadBasic<std::int16_t>(iter);
}

std::uint16_t DesktopBusMessage::ReadFieldUint16(const IterPtr& iter)
{
    return ReadBasic<std::uint16_t>(iter);
}

std::int32_t DesktopBusMessage::ReadFieldInt32(const IterPtr& iter)
{
    return ReadBasic<std::int32_t>(iter);
}

std::uint32_t DesktopBusMessage::ReadFieldUint32(const IterPtr& iter)
{
    return ReadBasic<std::uint32_t>(iter);
}

std::int64_t DesktopBusMessage::ReadFieldInt64(const IterPtr& iter)
{
    return ReadBasic<std::int64_t>(iter);
}

std::uint64_t DesktopBusMessage::ReadFieldUint64(const IterPtr& iter)
{
    return ReadBasic<std::uint64_t>(iter);
}

double DesktopBusMessage::ReadFieldDouble(const IterPtr& iter)
{
    return ReadBasic<double>(iter);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusValidation.h"

#include <dbus/dbus.h>

#include <algorithm>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

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

template <typename Value>
[[nodiscard]] Value ReadBasic(const std::unique_ptr<DBusMessageIter>& iter)
{
    Value value{};
    dbus_message_iter_get_basic(iter.get(), &value);
    return value;
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

std::vector<DesktopBusField> DesktopBusMessage::ReadFields() const
{
    if (!IsSet())
    {
        return {};
    }
    unsigned short count = 0;
    return ReadFields(nullptr, nullptr, count, -1);
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
                                                        unsigned short& count, int maxFields) const
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
    for (int n = 0; n != maxFields && count < MaximumFieldCount; ++n)
    {
        ++count;
        const int type = dbus_message_iter_get_arg_type(iter.get());
        if (type != DBUS_TYPE_INVALID)
        {
            fields.push_back(ReadField(parent, iter, type, count));
        }
        if (!dbus_message_iter_next(iter.get()))
        {
            break;
        }
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
        auto elements = ReadFields(iter, &signature, count, dbus_message_iter_get_element_count(iter.get()));
        field.SetArray(std::move(elements), std::move(signature));
    }
    else if (type == DBUS_TYPE_STRUCT)
    {
        field.SetStruct(ReadFields(iter, nullptr, count, -1));
    }
    else if (type == DBUS_TYPE_DICT_ENTRY)
    {
        field.SetDictEntry(ReadFields(iter, nullptr, count, -1));
    }
    else
    {
        String signature;
        auto content = ReadFields(iter, &signature, count, -1);
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

bool DesktopBusMessage::WriteFields(const std::vector<DesktopBusField>& fields)
{
    const auto isDictEntry = [](const DesktopBusField& field)
    { return field.GetType() == DBUS_TYPE_DICT_ENTRY; };
    if (!IsSet() || std::ranges::any_of(fields, isDictEntry) || !IsWithinDepth(fields, MaximumDepth))
    {
        return false;
    }
    IterPtr iter;
    return WriteFields(iter, fields);
}

bool DesktopBusMessage::WriteFields(IterPtr& iter, FieldSpan fields)
{
    if (iter == nullptr)
    {
        iter = std::make_unique<DBusMessageIter>();
        dbus_message_iter_init_append(message.get(), iter.get());
    }
    bool result = fields.empty();
    for (const auto& field : fields)
    {
        result = WriteField(iter, field, result);
        if (!result)
        {
            break;
        }
    }
    return result;
}

bool DesktopBusMessage::WriteField(IterPtr& iter, const DesktopBusField& field, bool result)
{
    switch (field.GetType())
    {
    case DBUS_TYPE_STRING:
        return WriteFieldString(iter, field.GetString());
    case DBUS_TYPE_BOOLEAN:
        return WriteFieldBoolean(iter, field.GetBoolean());
    case DBUS_TYPE_ARRAY:
        Log(LogLevel::Debug, "DBUS_TYPE_ARRAY");
        return WriteFieldArray(iter, field.GetContentSignature(), field.GetContents());
    case DBUS_TYPE_DICT_ENTRY:
        Log(LogLevel::Debug, "DBUS_TYPE_DICT_ENTRY");
        return WriteFieldDictEntry(iter, field.GetContents());
    case DBUS_TYPE_VARIANT:
        Log(LogLevel::Debug, "DBUS_TYPE_VARIANT");
        return WriteFieldVariant(iter, field.GetContentSignature(), field.GetVariant());
    case DBUS_TYPE_BYTE:
    case DBUS_TYPE_INT16:
    case DBUS_TYPE_UINT16:
    case DBUS_TYPE_INT32:
    case DBUS_TYPE_UINT32:
    case DBUS_TYPE_INT64:
    case DBUS_TYPE_UINT64:
    case DBUS_TYPE_DOUBLE:
    case DBUS_TYPE_OBJECT_PATH:
    case DBUS_TYPE_SIGNATURE:
    case DBUS_TYPE_STRUCT:
        // That such a field fails the call at the head of a list, and only there, is meant.
        Log(LogLevel::Warning, "Not supported DBUS data type {0}.", field.GetType());
        return result;
    default:
        Log(LogLevel::Warning, "Unable to write unknown DBUS data type {0}.", field.GetType());
        return result;
    }
}

bool DesktopBusMessage::WriteFieldBasic(IterPtr& iter, int type, const void* value)
{
    return dbus_message_iter_append_basic(iter.get(), type, value) != FALSE;
}

bool DesktopBusMessage::WriteFieldBoolean(IterPtr& iter, bool value)
{
    const dbus_bool_t content = value ? TRUE : FALSE;
    return WriteFieldBasic(iter, DBUS_TYPE_BOOLEAN, &content);
}

bool DesktopBusMessage::WriteFieldString(IterPtr& iter, const String& value)
{
    const char* content = value.c_str();
    return IsText(value) && WriteFieldBasic(iter, DBUS_TYPE_STRING, &content);
}

bool DesktopBusMessage::WriteFieldArray(IterPtr& iter, const String& contentSignature, FieldSpan elements)
{
    if (contentSignature.empty())
    {
        Log(LogLevel::Error, "Signature is not set for DBUS data type array.");
        return false;
    }
    // The element signature alone need not be a complete type: "{sv}" is none.
    return IsCompleteType("a" + contentSignature) && HaveSignature(elements, contentSignature) &&
           WriteFieldComplex(iter, DBUS_TYPE_ARRAY, contentSignature.c_str(), elements);
}

bool DesktopBusMessage::WriteFieldVariant(IterPtr& iter, const String& contentSignature,
                                          const DesktopBusField& contained)
{
    if (contentSignature.empty())
    {
        Log(LogLevel::Error, "Signature is not set for DBUS data type variant.");
        return false;
    }
    const FieldSpan contents(&contained, 1);
    return IsCompleteType(contentSignature) && HaveSignature(contents, contentSignature) &&
           WriteFieldComplex(iter, DBUS_TYPE_VARIANT, contentSignature.c_str(), contents);
}

bool DesktopBusMessage::WriteFieldDictEntry(IterPtr& iter, FieldSpan keyAndValue)
{
    return WriteFieldComplex(iter, DBUS_TYPE_DICT_ENTRY, nullptr, keyAndValue);
}

bool DesktopBusMessage::WriteFieldComplex(IterPtr& iter, int containerType, const char* signature,
                                          FieldSpan fields)
{
    IterPtr contents = std::make_unique<DBusMessageIter>();
    if (!dbus_message_iter_open_container(iter.get(), containerType, signature, contents.get()))
    {
        return false;
    }
    if (!WriteFields(contents, fields))
    {
        // Closing it would end the process when it stands in a dict entry that misses its value now.
        dbus_message_iter_abandon_container(iter.get(), contents.get());
        return false;
    }
    return dbus_message_iter_close_container(iter.get(), contents.get()) != FALSE;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

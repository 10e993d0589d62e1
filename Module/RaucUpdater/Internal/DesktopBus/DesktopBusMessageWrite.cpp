#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusValidation.h"

#include <dbus/dbus.h>

#include <algorithm>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

bool DesktopBusMessage::WriteFields(const std::vector<DesktopBusField>& fields)
{
    if (!IsSet())
    {
        return false;
    }
    const auto dictEntry = std::ranges::find(fields, DBUS_TYPE_DICT_ENTRY, &DesktopBusField::GetType);
    IterPtr iter;
    const bool isWritten = WriteFields(iter, FieldSpan(fields.begin(), dictEntry));
    if (isWritten && dictEntry != fields.end())
    {
        Log(LogLevel::Debug, "DBUS_TYPE_DICT_ENTRY");
        // libdbus would write it, outside of an array as it is, and the bus cut the sender off.
        return false;
    }
    return isWritten;
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

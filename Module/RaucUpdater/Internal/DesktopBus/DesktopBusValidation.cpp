#include "RaucUpdater/Internal/DesktopBus/DesktopBusValidation.h"

#include <dbus/dbus.h>

#include <algorithm>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using FieldSpan = std::span<const DesktopBusField>;
using Validator = dbus_bool_t (*)(const char* text, DBusError* error);

/// libdbus reads up to the first NUL: what stands behind it would be lost silently.
[[nodiscard]] bool IsValid(const String& text, Validator validator)
{
    return text.find('\0') == String::npos && validator(text.c_str(), nullptr) != FALSE;
}

/// Returns the signature with which a field is written, empty for one that the writer refuses or leaves out.
[[nodiscard]] String WrittenSignature(const DesktopBusField& field)
{
    switch (field.GetType())
    {
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_BOOLEAN:
    case DBUS_TYPE_VARIANT:
        return String(1, static_cast<char>(field.GetType()));
    case DBUS_TYPE_ARRAY:
        return field.GetContentSignature().empty() ? String() : "a" + field.GetContentSignature();
    case DBUS_TYPE_DICT_ENTRY:
    {
        String members;
        for (const auto& member : field.GetContents())
        {
            members += WrittenSignature(member);
        }
        return "{" + members + "}";
    }
    default:
        return {};
    }
}

} // namespace

bool IsText(const String& text)
{
    return IsValid(text, &dbus_validate_utf8);
}

bool IsBusName(const String& name)
{
    return IsValid(name, &dbus_validate_bus_name);
}

bool IsObjectPath(const String& path)
{
    return IsValid(path, &dbus_validate_path);
}

bool IsInterfaceName(const String& name)
{
    return IsValid(name, &dbus_validate_interface);
}

bool IsMemberName(const String& name)
{
    return IsValid(name, &dbus_validate_member);
}

bool IsCompleteType(const String& signature)
{
    return IsValid(signature, &dbus_signature_validate_single);
}

bool HaveSignature(FieldSpan fields, const String& signature)
{
    return std::ranges::all_of(fields,
                               [&signature](const DesktopBusField& field)
                               {
                                   const String written = WrittenSignature(field);
                                   return written.empty() || written == signature;
                               });
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "Zel/String.h"

#include <cstdint>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Fields in one expression, for tables of tests.
struct FieldBuilders
{
    using Fields = DesktopBusField::Fields;

    template <typename Set>
    static DesktopBusField Field(const Set& set)
    {
        DesktopBusField field;
        set(field);
        return field;
    }

    static DesktopBusField Text(const String& text)
    {
        return Field([&](auto& field) { field.SetString(text); });
    }

    static DesktopBusField Boolean(bool value)
    {
        return Field([&](auto& field) { field.SetBoolean(value); });
    }

    static DesktopBusField Number(std::int32_t value)
    {
        return Field([&](auto& field) { field.SetInt32(value); });
    }

    static DesktopBusField Array(const Fields& elements, const String& signature)
    {
        return Field([&](auto& field) { field.SetArray(elements, signature); });
    }

    static DesktopBusField Struct(const Fields& members)
    {
        return Field([&](auto& field) { field.SetStruct(members); });
    }

    static DesktopBusField Entry(const Fields& keyAndValue)
    {
        return Field([&](auto& field) { field.SetDictEntry(keyAndValue); });
    }

    static DesktopBusField Variant(const DesktopBusField& content, const String& signature)
    {
        return Field([&](auto& field) { field.SetVariant(content, signature); });
    }

    /// An entry of a dictionary of signature "a{sv}".
    static DesktopBusField Entry(const String& key, const DesktopBusField& content, const String& signature)
    {
        return Entry({Text(key), Variant(content, signature)});
    }
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Fields in one expression, for tables of tests.
struct FieldBuilders
{
    using F = DesktopBusField;
    using Fields = F::Fields;

    /// A field that one of the setters has set.
    template <auto Set, typename... Content>
    static F Make(const Content&... content)
    {
        F field;
        (field.*Set)(content...);
        return field;
    }

    static F Text(const String& text) { return Make<&F::SetString>(text); }

    static F Boolean(bool value) { return Make<&F::SetBoolean>(value); }

    static F Number(std::int32_t value) { return Make<&F::SetInt32>(value); }

    static F Array(const Fields& elements, const String& type) { return Make<&F::SetArray>(elements, type); }

    static F Struct(const Fields& members) { return Make<&F::SetStruct>(members); }

    static F Entry(const Fields& keyAndValue) { return Make<&F::SetDictEntry>(keyAndValue); }

    static F Variant(const F& content, const String& type) { return Make<&F::SetVariant>(content, type); }

    /// An entry of a dictionary of signature "a{sv}".
    static F Entry(const String& key, const F& content, const String& type)
    {
        return Entry({Text(key), Variant(content, type)});
    }
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

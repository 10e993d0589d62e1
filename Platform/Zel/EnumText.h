#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <type_traits>
#include <typeinfo>

namespace Zel
{

namespace Impl
{

[[noreturn]] ZEL_API void ThrowInvalidEnumValue(const std::type_info& type, const String& value);

} // namespace Impl

/// For the text forms of enumerations: throws `Exception` "Invalid value for Enum '{0}' occurs: {1}" with the
/// enumeration's name, without its namespaces, and the number of `value`, which has no name.
template <typename Enum>
[[noreturn]] void ThrowInvalidEnumValue(Enum value)
{
    Impl::ThrowInvalidEnumValue(typeid(Enum),
                                std::to_string(static_cast<std::underlying_type_t<Enum>>(value)));
}

} // namespace Zel

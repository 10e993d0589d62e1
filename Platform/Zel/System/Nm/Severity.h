#pragma once

#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel::System::Nm
{

/// How much a notification matters.
enum class Severity : std::int32_t
{
    Information = 1,
    Warning = 2,
    Error = 3
};

/// Returns the value's name; throws `Exception` "Invalid value for Enum '{0}' occurs: {1}" for a value
/// without one.
[[nodiscard]] ZEL_API const char* ToString(Severity severity);

} // namespace Zel::System::Nm

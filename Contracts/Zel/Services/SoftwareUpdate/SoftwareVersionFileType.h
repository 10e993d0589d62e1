#pragma once

#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel::Services::SoftwareUpdate
{

/// Which of a component's versions is meant.
enum class SoftwareVersionFileType : std::int32_t
{
    /// The running one.
    Current = 0,
    /// That of the bundle which is accepted and not installed yet.
    Pending = 1,
    /// What RAUC's other valid slot holds.
    Fallback = 2
};

/// Returns the name; throws `Exception` "Invalid value for Enum '{0}' occurs: {1}" for a value without one.
[[nodiscard]] ZEL_API const char* ToString(SoftwareVersionFileType type);

} // namespace Zel::Services::SoftwareUpdate

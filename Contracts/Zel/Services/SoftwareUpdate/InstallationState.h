#pragma once

#include "Zel/Visibility.h"

#include <cstdint>
#include <ostream>

namespace Zel::Services::SoftwareUpdate
{

/// Where an installation stands; persisted by the status store.
enum class InstallationState : std::int32_t
{
    Idle = 0,
    Installing = 1,
    /// Ended without success; `IUpdaterModule::ResumeInstall` leaves this state.
    Failed = 2
};

/// Returns the name; throws `Exception` "Invalid value for Enum '{0}' occurs: {1}" for a value without one.
[[nodiscard]] ZEL_API const char* ToString(InstallationState state);

/// Writes `ToString(state)`.
ZEL_API std::ostream& operator<<(std::ostream& stream, InstallationState state);

} // namespace Zel::Services::SoftwareUpdate

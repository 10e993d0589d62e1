#pragma once

#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/System/Commons/FixedText.h"

#include <cstdint>

namespace Zel::Services::SoftwareUpdate
{

/// What the status store knows of a component.
struct SoftwareUpdateStatus
{
    /// UTF-8, at most 511 bytes.
    System::Commons::FixedText<512> message;
    InstallationState state = InstallationState::Idle;
    /// Whether the last installation can be reverted.
    bool revertible = false;
    /// Percent, 0 to 100.
    std::int32_t progress = 0;
    /// Seconds that a new version has to be confirmed within; 0 for no limit.
    std::uint32_t confirmationTimeout = 0;
};

} // namespace Zel::Services::SoftwareUpdate

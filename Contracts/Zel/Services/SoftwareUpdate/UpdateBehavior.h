#pragma once

#include <cstdint>

namespace Zel::Services::SoftwareUpdate
{

/// What the installation of a version means for the device; a set of flags.
enum class UpdateBehavior : std::uint32_t
{
    None = 0x00,
    /// The device keeps its parameters.
    KeepsParameters = 0x01,
    /// Clients lose their connection meanwhile.
    WillDisconnect = 0x02,
    /// The device must be switched off and on by hand.
    RequiresPowerCycle = 0x04,
    /// The device reboots by itself.
    WillReboot = 0x08,
    /// The device must be prepared before.
    NeedsPreparation = 0x10
};

[[nodiscard]] constexpr UpdateBehavior operator|(UpdateBehavior left, UpdateBehavior right) noexcept
{
    return static_cast<UpdateBehavior>(static_cast<std::uint32_t>(left) | static_cast<std::uint32_t>(right));
}

constexpr UpdateBehavior& operator|=(UpdateBehavior& left, UpdateBehavior right) noexcept
{
    return left = left | right;
}

} // namespace Zel::Services::SoftwareUpdate

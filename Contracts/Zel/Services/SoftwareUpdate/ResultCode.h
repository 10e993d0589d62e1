#pragma once

#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel::Services::SoftwareUpdate
{

/// The result of an updater module's operation; 0 is success.
enum class [[nodiscard]] ResultCode : std::uint32_t{
    Ok = 0x00000000,
    /// The status store or a property could not be accessed, a slot is unknown or could not be switched, or a
    /// version was asked for without a device-info service.
    GeneralError = 0x80010000,
    /// An action could not be started or carried out; a required value could not be read or saved.
    OperationFailed = 0x80020000,
    /// Not enough memory, or space, to transfer a bundle.
    OutOfMemory = 0x80030000,
    /// A revert was asked for that is done already.
    AlreadyReverted = 0x800F0000,
    /// The operation, or the file type, is not supported.
    NotSupported = 0x803D0000,
    /// The file does not exist, or the version is neither the pending nor the fallback one.
    NotFound = 0x803E0000,
    /// The booted slot is not available while a confirmation timeout is set.
    BootedSlotUnavailable = 0x80890000,
    /// The component ID is not the module's, or the software package is invalid or incompatible.
    InvalidArgument = 0x80AB0000,
    /// An installation is in progress, the installation state is another one, or RAUC is busy.
    InvalidState = 0x80AF0000};

/// Returns the name, for example "NotFound"; throws `Exception` "Invalid value for Enum '{0}' occurs: {1}"
/// for a value without one.
[[nodiscard]] ZEL_API const char* ToString(ResultCode code);

} // namespace Zel::Services::SoftwareUpdate

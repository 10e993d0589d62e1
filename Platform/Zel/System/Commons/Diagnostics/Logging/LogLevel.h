#pragma once

#include "Zel/Visibility.h"

namespace Zel::System::Commons::Diagnostics::Logging
{

/// The numbers are part of the log's format; a higher one is more verbose.
enum class LogLevel : int
{
    Error = 3,
    Warning = 5,
    Info = 6,
    Debug = 7,
    Trace = 8
};

/// Returns "error", "warning", "info", "debug" or "trace".
[[nodiscard]] ZEL_API const char* ToString(LogLevel level) noexcept;

} // namespace Zel::System::Commons::Diagnostics::Logging

#include "Zel/System/Commons/Diagnostics/Logging/LogLevel.h"

namespace Zel::System::Commons::Diagnostics::Logging
{

const char* ToString(LogLevel level) noexcept
{
    switch (level)
    {
    case LogLevel::Error:
        return "error";
    case LogLevel::Warning:
        return "warning";
    case LogLevel::Info:
        return "info";
    case LogLevel::Debug:
        return "debug";
    case LogLevel::Trace:
        return "trace";
    }
    return "unknown";
}

} // namespace Zel::System::Commons::Diagnostics::Logging

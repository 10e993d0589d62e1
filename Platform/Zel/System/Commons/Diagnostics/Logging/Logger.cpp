#include "Zel/System/Commons/Diagnostics/Logging/Logger.h"

#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <utility>

namespace Zel::System::Commons::Diagnostics::Logging
{

Logger::Logger(String name, LogLevel level) : name(std::move(name)), maximumLevel(static_cast<int>(level)) {}

void Logger::SetLevel(LogLevel level) noexcept
{
    maximumLevel.store(static_cast<int>(level), std::memory_order_relaxed);
}

void Logger::Write(LogLevel level, String text) const noexcept
{
    try
    {
        LogManager::Dispatch({level, name, std::move(text)});
    }
    catch (...)
    {
        // There is no further log to tell it to.
    }
}

void Logger::WriteFormatted(LogLevel level, fmt::string_view text, fmt::format_args arguments) const
{
    Write(level, Core::Impl::FormatPiece(text, arguments));
}

} // namespace Zel::System::Commons::Diagnostics::Logging

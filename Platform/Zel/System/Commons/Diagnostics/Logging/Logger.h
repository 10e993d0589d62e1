#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogLevel.h"
#include "Zel/System/Core/Format.h"
#include "Zel/Visibility.h"

#include <atomic>

namespace Zel::System::Commons::Diagnostics::Logging
{

/// The log of one class. Created by `LogManager`, alive to the process's end, usable from any thread.
class ZEL_API Logger
{
public:
    Logger(String name, LogLevel level);
    ~Logger() = default;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// The class's name without its namespaces.
    [[nodiscard]] const String& GetName() const noexcept { return name; }

    [[nodiscard]] bool IsEnabled(LogLevel level) const noexcept
    {
        return static_cast<int>(level) <= maximumLevel.load(std::memory_order_relaxed);
    }

    void SetLevel(LogLevel level) noexcept;

    /// Writes a line when `level` is enabled; a switched-off line formats nothing.
    template <typename... Arguments>
    void Log(LogLevel level, Core::FormatText<Arguments...> text, Arguments&&... arguments) const
    {
        if (IsEnabled(level))
        {
            WriteFormatted(level, text, fmt::make_format_args(arguments...));
        }
    }

    /// Hands the line to every sink, whatever its level. Never throws: a line that cannot be written is lost,
    /// because what is logged about must go on.
    void Write(LogLevel level, String text) const noexcept;

    /// The same for a text with placeholders, formatted by the rules of `Core::Format`.
    void WriteFormatted(LogLevel level, fmt::string_view text, fmt::format_args arguments) const;

private:
    const String name;
    std::atomic<int> maximumLevel;
};

} // namespace Zel::System::Commons::Diagnostics::Logging

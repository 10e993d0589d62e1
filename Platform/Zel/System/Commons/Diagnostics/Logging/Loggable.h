#pragma once

#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"
#include "Zel/System/Core/Format.h"

#include <typeinfo>
#include <utility>

namespace Zel::System::Commons::Diagnostics::Logging
{

/// Gives the class `Class`, which derives privately from it, a class-wide logger named after it.
template <typename Class>
class Loggable
{
protected:
    /// Writes a line when `level` is enabled; a switched-off line formats nothing.
    template <typename... Arguments>
    static void Log(LogLevel level, Core::FormatText<Arguments...> text, Arguments&&... arguments)
    {
        const Logger& logger = GetLogger();
        if (logger.IsEnabled(level))
        {
            logger.Write(level, Core::Format(text, std::forward<Arguments>(arguments)...));
        }
    }

    [[nodiscard]] static Logger& GetLogger()
    {
        static Logger& logger = LogManager::GetLogger(typeid(Class));
        return logger;
    }
};

} // namespace Zel::System::Commons::Diagnostics::Logging

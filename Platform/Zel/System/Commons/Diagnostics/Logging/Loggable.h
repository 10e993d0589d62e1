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
    /// `Logger::Log` of that logger.
    template <typename... Arguments>
    static void Log(LogLevel level, Core::FormatText<Arguments...> text, Arguments&&... arguments)
    {
        GetLogger().Log(level, text, std::forward<Arguments>(arguments)...);
    }

    // Inlined into each of the many log calls, its guard would be a good part of a library's size.
    [[nodiscard, gnu::noinline]] static Logger& GetLogger()
    {
        static Logger& logger = LogManager::GetLogger(typeid(Class));
        return logger;
    }
};

} // namespace Zel::System::Commons::Diagnostics::Logging

#pragma once

#include "Zel/AppDomain.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"
#include "Zel/System/Commons/Diagnostics/Logging/Logger.h"
#include "Zel/Visibility.h"

#include <memory>
#include <typeinfo>

namespace Zel::System::Commons::Diagnostics::Logging
{

/// The process's loggers and sinks. One for all libraries of the process; every operation is thread-safe.
/// Without a sink, lines of level warning and below (more severe) go to standard error.
class ZEL_API LogManager
{
public:
    /// Makes the log that of `appDomain`'s process: its name is the identifier under which the sinks write.
    static void AssignAppDomain(AppDomain& appDomain);

    /// The assigned app domain's name; "zel" before one was assigned.
    [[nodiscard]] static String GetIdentifier();

    /// Returns the one logger of a class; created on first use.
    [[nodiscard]] static Logger& GetLogger(const std::type_info& type);

    /// The level set last.
    [[nodiscard]] static LogLevel GetLevel();

    /// Sets the level of all loggers, present and future. Initially `Info`.
    static void SetLevel(LogLevel level);

    /// Adds a sink behind the others.
    static void AddSink(std::shared_ptr<ILogSink> sink);

    /// Removes a sink; lines that other threads write at this moment may still reach it.
    static void RemoveSink(const std::shared_ptr<ILogSink>& sink);

    /// A sink for standard error: time, level, logger and text, in colour on a terminal.
    [[nodiscard]] static std::shared_ptr<ILogSink> CreateConsoleSink();

    /// A sink for the system journal: fields MESSAGE, PRIORITY, SYSLOG_IDENTIFIER and ZEL_LOGGER.
    [[nodiscard]] static std::shared_ptr<ILogSink> CreateJournalSink();

private:
    friend class Logger;
    static void Dispatch(const LogRecord& record);
};

} // namespace Zel::System::Commons::Diagnostics::Logging

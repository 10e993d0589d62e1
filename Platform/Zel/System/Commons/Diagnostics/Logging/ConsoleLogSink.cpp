#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_color_sinks.h>

namespace Zel::System::Commons::Diagnostics::Logging
{

namespace
{

spdlog::level::level_enum ToBackEndLevel(LogLevel level) noexcept
{
    switch (level)
    {
    case LogLevel::Error:
        return spdlog::level::err;
    case LogLevel::Warning:
        return spdlog::level::warn;
    case LogLevel::Info:
        return spdlog::level::info;
    case LogLevel::Debug:
        return spdlog::level::debug;
    case LogLevel::Trace:
        return spdlog::level::trace;
    }
    return spdlog::level::info;
}

class ConsoleLogSink : public ILogSink
{
public:
    ConsoleLogSink() : logger("", std::make_shared<spdlog::sinks::stderr_color_sink_mt>())
    {
        logger.set_level(spdlog::level::trace);
        logger.set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %^%-7l%$ %v");
    }

    void Write(const LogRecord& record) override
    {
        logger.log(ToBackEndLevel(record.level), record.logger + ": " + EscapeControlCharacters(record.text));
    }

private:
    spdlog::logger logger;
};

} // namespace

std::shared_ptr<ILogSink> LogManager::CreateConsoleSink()
{
    return std::make_shared<ConsoleLogSink>();
}

} // namespace Zel::System::Commons::Diagnostics::Logging

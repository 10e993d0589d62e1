#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include "Zel/Immortal.h"
#include "Zel/System/Core/Format.h"
#include "Zel/TypeName.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace Zel::System::Commons::Diagnostics::Logging
{

namespace
{

using SinkList = std::vector<std::shared_ptr<ILogSink>>;

void LogFormatFailure(const String& formatText, const String& reason)
{
    LogManager::GetLogger(typeid(LogManager))
        .Write(LogLevel::Error, "Failed to format text '" + formatText + "': " + reason);
}

struct Registry
{
    Registry() { Core::Impl::BasicStringFormatExceptionHandler::Set(&LogFormatFailure); }

    std::mutex mutex;
    String identifier = "zel";
    LogLevel level = LogLevel::Info;
    // By name, not by std::type_index: that one points into the library that asked, which may be unloaded.
    std::map<String, Logger> loggers;
    // Replaced, never changed, so that lines are written without the lock.
    std::shared_ptr<const SinkList> sinks = std::make_shared<const SinkList>();
};

Registry& GetRegistry()
{
    // Destructors of static objects log, too.
    static Immortal<Registry> registry;
    return registry.Get();
}

void WriteToStandardError(const LogRecord& record)
{
    const String line = LogManager::GetIdentifier() + ": " + ToString(record.level) + " " + record.logger +
                        ": " + EscapeControlCharacters(record.text) + "\n";
    static_cast<void>(std::fputs(line.c_str(), stderr));
}

} // namespace

void LogManager::AssignAppDomain(AppDomain& appDomain)
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    registry.identifier = appDomain.GetName();
}

String LogManager::GetIdentifier()
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    return registry.identifier;
}

Logger& LogManager::GetLogger(const std::type_info& type)
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    return registry.loggers.try_emplace(type.name(), ShortTypeName(type), registry.level).first->second;
}

LogLevel LogManager::GetLevel()
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    return registry.level;
}

void LogManager::SetLevel(LogLevel level)
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    registry.level = level;
    for (auto& [name, logger] : registry.loggers)
    {
        logger.SetLevel(level);
    }
}

void LogManager::AddSink(std::shared_ptr<ILogSink> sink)
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    auto changed = std::make_shared<SinkList>(*registry.sinks);
    changed->push_back(std::move(sink));
    registry.sinks = std::move(changed);
}

void LogManager::RemoveSink(const std::shared_ptr<ILogSink>& sink)
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    auto changed = std::make_shared<SinkList>(*registry.sinks);
    changed->erase(std::remove(changed->begin(), changed->end(), sink), changed->end());
    registry.sinks = std::move(changed);
}

void LogManager::Dispatch(const LogRecord& record)
{
    std::shared_ptr<const SinkList> sinks;
    {
        Registry& registry = GetRegistry();
        const std::lock_guard lock(registry.mutex);
        sinks = registry.sinks;
    }
    if (sinks->empty() && record.level <= LogLevel::Warning)
    {
        WriteToStandardError(record);
    }
    for (const auto& sink : *sinks)
    {
        try
        {
            sink->Write(record);
        }
        catch (...)
        {
            // The line is lost in this sink; the others, and what is logged about, must go on.
        }
    }
}

} // namespace Zel::System::Commons::Diagnostics::Logging

#include "Support/RecordingLogSink.h"

#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

namespace Zel::Tests::Support
{

using System::Commons::Diagnostics::Logging::LogManager;

namespace
{

String ToLine(const RecordingLogSink::LogRecord& record)
{
    return String(ToString(record.level)) + " " + record.logger + ": " + record.text;
}

} // namespace

std::vector<String> RecordingLogSink::GetLinesOf(const String& logger, LogLevel level) const
{
    std::vector<String> lines;
    for (const auto& record : records.Get())
    {
        if ((logger.empty() || record.logger == logger) && record.level <= level)
        {
            lines.push_back(ToLine(record));
        }
    }
    return lines;
}

bool RecordingLogSink::WaitForLine(const String& line, std::chrono::milliseconds deadline) const
{
    return records.WaitFor([&](const LogRecord& record) { return ToLine(record) == line; }, deadline);
}

RecordingLog::RecordingLog(RecordingLogSink::LogLevel level) : previousLevel(LogManager::GetLevel())
{
    LogManager::SetLevel(level);
    LogManager::AddSink(sink);
}

RecordingLog::~RecordingLog()
{
    LogManager::RemoveSink(sink);
    LogManager::SetLevel(previousLevel);
}

} // namespace Zel::Tests::Support

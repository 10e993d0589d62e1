#include "Support/RecordingLogSink.h"

#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <fnmatch.h>

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
    return records.WaitFor([&](const LogRecord& record) { return IsLike(ToLine(record), line); }, deadline);
}

bool RecordingLogSink::IsLike(const String& text, const String& pattern)
{
    return text == pattern ||
           (pattern.find('*') != String::npos && fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0);
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

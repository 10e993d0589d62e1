#include "Support/RecordingLogSink.h"

#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <algorithm>

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

RecordingLogSink::~RecordingLogSink() = default;

void RecordingLogSink::Write(const LogRecord& record)
{
    const std::lock_guard lock(mutex);
    records.push_back(record);
    written.notify_all();
}

std::vector<String> RecordingLogSink::GetLines(LogLevel level) const
{
    const std::lock_guard lock(mutex);
    std::vector<String> lines;
    for (const auto& record : records)
    {
        if (record.level <= level)
        {
            lines.push_back(ToLine(record));
        }
    }
    return lines;
}

std::vector<String> RecordingLogSink::GetLinesOf(const String& logger, LogLevel level) const
{
    const std::lock_guard lock(mutex);
    std::vector<String> lines;
    for (const auto& record : records)
    {
        if (record.logger == logger && record.level <= level)
        {
            lines.push_back(ToLine(record));
        }
    }
    return lines;
}

void RecordingLogSink::Clear()
{
    const std::lock_guard lock(mutex);
    records.clear();
}

bool RecordingLogSink::WaitForLine(const String& line, std::chrono::milliseconds deadline) const
{
    std::unique_lock lock(mutex);
    return written.wait_for(lock, deadline,
                            [&]
                            {
                                return std::any_of(records.begin(), records.end(),
                                                   [&](const LogRecord& record)
                                                   { return ToLine(record) == line; });
                            });
}

RecordingLog::RecordingLog(RecordingLogSink::LogLevel level)
    : previousLevel(LogManager::GetLevel()), sink(std::make_shared<RecordingLogSink>())
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

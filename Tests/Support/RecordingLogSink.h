#pragma once

#include "Support/Recorded.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <chrono>
#include <fnmatch.h>
#include <memory>
#include <vector>

namespace Zel::Tests::Support
{

/// Keeps what was logged, as lines of the form "error RaucUpdaterModule: text". Thread-safe.
class RecordingLogSink : public System::Commons::Diagnostics::Logging::ILogSink
{
public:
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;
    using LogRecord = System::Commons::Diagnostics::Logging::LogRecord;

    void Write(const LogRecord& record) override { records.Add(record); }

    /// Returns the lines since the last `Clear` that are not more verbose than `level`, in order.
    [[nodiscard]] std::vector<String> GetLines(LogLevel level = LogLevel::Trace) const
    {
        return GetLinesOf("", level);
    }

    /// Returns the same, but of one class only, named without its namespaces.
    [[nodiscard]] std::vector<String> GetLinesOf(const String& logger, LogLevel level = LogLevel::Trace) const
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

    void Clear() { records.Clear(); }

    /// Whether the text is the pattern, in which an asterisk stands for any text.
    [[nodiscard]] static bool IsLike(const String& text, const String& pattern)
    {
        return text == pattern || (pattern.find('*') != String::npos &&
                                   fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0);
    }

    /// Waits until a whole line like `line` was logged since the last `Clear`; returns false when `deadline`
    /// passes before.
    [[nodiscard]] bool WaitForLine(const String& line,
                                   std::chrono::milliseconds deadline = std::chrono::seconds(10)) const
    {
        return records.WaitFor([&](const auto& record) { return IsLike(ToLine(record), line); }, deadline);
    }

private:
    [[nodiscard]] static String ToLine(const LogRecord& record)
    {
        return String(ToString(record.level)) + " " + record.logger + ": " + record.text;
    }

    Recorded<LogRecord> records;
};

/// Records the log as long as it lives: adds a sink and sets the level, and puts both back at its end.
class RecordingLog
{
public:
    explicit RecordingLog(RecordingLogSink::LogLevel level = RecordingLogSink::LogLevel::Trace)
    {
        LogManager::SetLevel(level);
        LogManager::AddSink(sink);
    }

    ~RecordingLog()
    {
        LogManager::RemoveSink(sink);
        LogManager::SetLevel(previousLevel);
    }

    RecordingLog(const RecordingLog&) = delete;
    RecordingLog& operator=(const RecordingLog&) = delete;

    RecordingLogSink& operator*() const noexcept { return *sink; }

    RecordingLogSink* operator->() const noexcept { return sink.get(); }

private:
    using LogManager = System::Commons::Diagnostics::Logging::LogManager;

    const RecordingLogSink::LogLevel previousLevel = LogManager::GetLevel();
    const std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
};

} // namespace Zel::Tests::Support

#pragma once

#include "Support/Recorded.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <fnmatch.h>

namespace Zel::Tests::Support
{

/// Records the log as long as it lives, as lines of the form "error RaucUpdaterModule: text": adds a sink and
/// sets the level, and puts both back at its end. Thread-safe.
class RecordingLog
{
public:
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;
    using LogRecord = System::Commons::Diagnostics::Logging::LogRecord;

    explicit RecordingLog(LogLevel level = LogLevel::Trace)
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

    /// Returns the lines since the last `Clear` that are not more verbose than `level`, in order.
    [[nodiscard]] std::vector<String> GetLines(LogLevel level = LogLevel::Trace) const
    {
        return GetLinesOf("", level);
    }

    /// Returns the same, but of one class only, named without its namespaces.
    [[nodiscard]] std::vector<String> GetLinesOf(const String& logger, LogLevel level = LogLevel::Trace) const
    {
        std::vector<String> lines;
        for (const auto& record : sink->Get())
        {
            if ((logger.empty() || record.logger == logger) && record.level <= level)
            {
                lines.push_back(ToLine(record));
            }
        }
        return lines;
    }

    void Clear() const { sink->Clear(); }

    /// Whether the text is the pattern, in which an asterisk stands for any text.
    [[nodiscard]] static bool IsLike(const String& text, const String& pattern)
    {
        return text == pattern || (pattern.find('*') != String::npos &&
                                   fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0);
    }

    /// Waits until a whole line like `line` was logged since the last `Clear`; false when none is within 10
    /// s.
    [[nodiscard]] bool WaitForLine(const String& line) const
    {
        return sink->WaitFor([&](const auto& record) { return IsLike(ToLine(record), line); });
    }

private:
    using LogManager = System::Commons::Diagnostics::Logging::LogManager;

    struct Sink : System::Commons::Diagnostics::Logging::ILogSink, Recorded<LogRecord>
    {
        void Write(const LogRecord& record) override { Add(record); }
    };

    [[nodiscard]] static String ToLine(const LogRecord& record)
    {
        return String(ToString(record.level)) + " " + record.logger + ": " + record.text;
    }

    const LogLevel previousLevel = LogManager::GetLevel();
    const std::shared_ptr<Sink> sink = std::make_shared<Sink>();
};

} // namespace Zel::Tests::Support

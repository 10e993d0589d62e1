#pragma once

#include "Support/Recorded.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"

#include <chrono>
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
    [[nodiscard]] std::vector<String> GetLinesOf(const String& logger,
                                                 LogLevel level = LogLevel::Trace) const;

    void Clear() { records.Clear(); }

    /// Whether the text is the pattern, in which an asterisk stands for any text.
    [[nodiscard]] static bool IsLike(const String& text, const String& pattern);

    /// Waits until a whole line like `line` was logged since the last `Clear`; returns false when `deadline`
    /// passes before.
    [[nodiscard]] bool WaitForLine(const String& line,
                                   std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;

private:
    Recorded<LogRecord> records;
};

/// Records the log as long as it lives: adds a sink and sets the level, and puts both back at its end.
class RecordingLog
{
public:
    explicit RecordingLog(RecordingLogSink::LogLevel level = RecordingLogSink::LogLevel::Trace);
    ~RecordingLog();
    RecordingLog(const RecordingLog&) = delete;
    RecordingLog& operator=(const RecordingLog&) = delete;

    RecordingLogSink& operator*() const noexcept { return *sink; }

    RecordingLogSink* operator->() const noexcept { return sink.get(); }

private:
    const RecordingLogSink::LogLevel previousLevel;
    const std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
};

} // namespace Zel::Tests::Support

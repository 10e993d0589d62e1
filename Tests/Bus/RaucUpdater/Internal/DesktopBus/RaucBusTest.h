#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Support/PrivateBus.h"
#include "Support/RecordingLogSink.h"
#include "Support/ScriptedRauc.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Delegate.h"

#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Subscribes to all events of RAUC's signals and keeps them as lines, for example "Operation installing",
/// "Progress 40 Copying 1", "LastError text" or "Completed 0". Thread-safe.
class RecordedSignals
{
public:
    RecordedSignals();
    ~RecordedSignals();
    RecordedSignals(const RecordedSignals&) = delete;
    RecordedSignals& operator=(const RecordedSignals&) = delete;

    [[nodiscard]] std::vector<String> GetLines() const;

    /// Waits for a line; returns false when it did not come within 10 s.
    [[nodiscard]] bool WaitFor(const String& line) const;

private:
    void OnOperation(const RaucOperationProperty& property);
    void OnProgress(const RaucProgressProperty& property);
    void OnLastError(const RaucLastErrorProperty& property);
    void OnCompleted(const RaucCompletedSignal& signal);
    void Add(const String& line);

    mutable std::mutex mutex;
    mutable std::condition_variable added;
    std::vector<String> lines;
};

/// A private bus with a scripted RAUC on it, and the log.
class RaucBusTest : public testing::Test
{
protected:
    using RecordingLog = Tests::Support::RecordingLog;
    using ScriptedRauc = Tests::Support::ScriptedRauc;
    using ScriptedSlot = Tests::Support::ScriptedSlot;
    using Answer = ScriptedRauc::Answer;
    using Call = ScriptedRauc::Call;
    using Lines = std::vector<String>;
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;

    /// The errors in the log.
    [[nodiscard]] Lines GetErrors() const { return log->GetLines(LogLevel::Error); }

    Tests::Support::PrivateBus& bus = Tests::Support::PrivateBus::OfProcess();
    ScriptedRauc rauc{bus};
    const RecordingLog log;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

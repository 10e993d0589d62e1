#pragma once

#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Zel/String.h"

#include <condition_variable>
#include <mutex>
#include <vector>

namespace Zel::Tests::Support
{

/// Subscribes to all events of RAUC's signals and keeps them as lines, for example "Operation installing",
/// "Progress 40 Copying 1", "LastError text" or "Completed 0". Thread-safe. Outlives what raises the events.
class RecordedSignals
{
public:
    RecordedSignals();
    ~RecordedSignals();
    RecordedSignals(const RecordedSignals&) = delete;
    RecordedSignals& operator=(const RecordedSignals&) = delete;

    [[nodiscard]] std::vector<String> GetLines() const;

    void Clear();

    /// Waits for a line; returns false when it did not come within 10 s.
    [[nodiscard]] bool WaitFor(const String& line) const;

private:
    using RaucOperationProperty =
        Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::RaucOperationProperty;
    using RaucProgressProperty =
        Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::RaucProgressProperty;
    using RaucLastErrorProperty =
        Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::RaucLastErrorProperty;
    using RaucCompletedSignal =
        Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::RaucCompletedSignal;

    void OnOperation(const RaucOperationProperty& property);
    void OnProgress(const RaucProgressProperty& property);
    void OnLastError(const RaucLastErrorProperty& property);
    void OnCompleted(const RaucCompletedSignal& signal);
    void Add(const String& line);

    mutable std::mutex mutex;
    mutable std::condition_variable added;
    std::vector<String> lines;
};

} // namespace Zel::Tests::Support

#pragma once

#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Support/Recorded.h"
#include "Zel/String.h"

#include <vector>

namespace Zel::Tests::Support
{

namespace RaucBus = Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus;

/// Subscribes to all events of RAUC's signals and keeps them as lines, for example "Operation installing",
/// "Progress 40 Copying 1", "LastError text" or "Completed 0". Thread-safe. Outlives what raises the events.
class RecordedSignals
{
public:
    RecordedSignals();
    ~RecordedSignals();
    RecordedSignals(const RecordedSignals&) = delete;
    RecordedSignals& operator=(const RecordedSignals&) = delete;

    [[nodiscard]] std::vector<String> GetLines() const { return lines.Get(); }

    void Clear() { lines.Clear(); }

    /// Waits for a line; returns false when it did not come within 10 s.
    [[nodiscard]] bool WaitFor(const String& line) const;

private:
    void OnOperation(const RaucBus::RaucOperationProperty& property);
    void OnProgress(const RaucBus::RaucProgressProperty& property);
    void OnLastError(const RaucBus::RaucLastErrorProperty& property);
    void OnCompleted(const RaucBus::RaucCompletedSignal& signal);

    /// Does `change` with each pair of event and handler.
    template <typename Change>
    void ForEachEvent(const Change& change);

    Recorded<String> lines;
};

} // namespace Zel::Tests::Support

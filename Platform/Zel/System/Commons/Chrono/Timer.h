#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Event.h"
#include "Zel/Visibility.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Zel::System::Commons::Chrono
{

/// Raises `Elapsed` periodically on a thread of its own, first after one whole period. A tick that comes due
/// while handlers still run is skipped, never queued. An exception of a handler is logged at error level and
/// the timer goes on.
class ZEL_API Timer
{
public:
    /// `period` is in microseconds, at least 1. `name` names the thread; `priority` and `stackSize` are those
    /// of `Thread`.
    Timer(std::int64_t period, String name, int priority = 0, std::size_t stackSize = 0);

    /// Stops.
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Raised on the timer's thread.
    Event<> Elapsed;

    /// Starts ticking; does nothing when it runs. Returns whether it runs.
    bool Start();

    /// Ends ticking; does nothing when it does not run. Called from a handler it returns at once and that
    /// handler is the last; called from any other thread it returns when no handler runs any more.
    void Stop();

    [[nodiscard]] bool IsRunning() const;

    [[nodiscard]] const String& GetName() const noexcept;

private:
    struct State;
    std::shared_ptr<State> state;
};

} // namespace Zel::System::Commons::Chrono

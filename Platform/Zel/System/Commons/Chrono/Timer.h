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
/// while handlers still run is skipped, never queued; handlers never run side by side. An exception of a
/// handler is logged at error level, ends its tick, and the timer goes on. Every operation but the destructor
/// may be called from any thread, handlers included.
class ZEL_API Timer
{
public:
    /// The longest period in microseconds, about 31 years.
    static constexpr std::int64_t MaximumPeriod = 1'000'000'000'000'000;

    /// `period` is in microseconds; outside of 1 to `MaximumPeriod` it throws `ArgumentException`. `name`
    /// names the thread; `priority` and `stackSize` are those of `Thread`.
    Timer(std::int64_t period, String name, int priority = 0, std::size_t stackSize = 0);

    /// Stops. Must not be called from a handler of this timer.
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Raised on the timer's thread.
    Event<> Elapsed;

    /// Starts ticking; does nothing when it runs. Returns whether it runs: false when no thread could be
    /// started (logged by `Thread`), and when a handler calls it while another thread stops the timer. Any
    /// other caller waits until that stop is done.
    bool Start();

    /// Ends ticking. Called from a handler it returns at once and that tick is the last; called from any
    /// other thread it returns when no handler runs any more, so the caller must hold no lock that a handler
    /// may wait for.
    void Stop();

    [[nodiscard]] bool IsRunning() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace Zel::System::Commons::Chrono

#pragma once

#include "Service/LoopTimer.h"

#include "Zel/String.h"

#include <chrono>
#include <functional>

namespace Zel::Host::Service
{

/// Tries to reach a lost bus again, less and less often, for a bounded time. Used on the loop's thread.
class Reconnection
{
public:
    /// How long a lost bus is waited for.
    static constexpr std::chrono::seconds Patience{30};

    struct Handlers
    {
        /// Connects, or throws `Exception`.
        EventLoop::Task connect;
        /// Called after a connection was made.
        EventLoop::Task connected;
        /// Called with the last failure when the time is over.
        std::function<void(const String& reason)> gaveUp;
    };

    Reconnection(EventLoop& loop, Handlers handlers);

    void Begin();
    void Stop();

private:
    void Try();

    const Handlers handlers;
    LoopTimer timer;
    std::chrono::milliseconds delay{0};
    std::chrono::steady_clock::time_point deadline;
};

} // namespace Zel::Host::Service

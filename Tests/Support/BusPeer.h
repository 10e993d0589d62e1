#pragma once

#include "Zel/String.h"

#include <functional>
#include <memory>
#include <mutex>
#include <systemd/sd-bus.h>
#include <thread>

namespace Zel::Tests::Support
{

/// A program on the process's bus, for the other end of a test: a connection of its own and the thread that
/// serves it, on another D-Bus library than what is tested.
class BusPeer
{
public:
    /// Gets each message that arrives, one after the other, on the peer's thread with the lock held.
    using Handler = std::function<void(sd_bus_message* message)>;

    /// Connects, owns `busName` and serves; `lock` is for everything that is done with the connection. Throws
    /// `Exception` when the bus refuses.
    BusPeer(const String& busName, std::recursive_mutex& lock, Handler handler);

    /// Waits for a handler that runs, then breaks the connection; what was not answered gets no answer. The
    /// name is free when it returns. Neither on the peer's thread nor with the lock held.
    ~BusPeer();

    [[nodiscard]] sd_bus* Get() const noexcept { return bus.get(); }

private:
    void Serve(const std::stop_token& end);

    const String busName;
    std::recursive_mutex& lock;
    const Handler handler;
    const std::unique_ptr<sd_bus, sd_bus* (*)(sd_bus*)> bus;
    std::jthread thread;
};

} // namespace Zel::Tests::Support

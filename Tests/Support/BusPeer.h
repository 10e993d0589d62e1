#pragma once

#include "Support/PrivateBus.h"

#include <functional>
#include <memory>
#include <mutex>
#include <poll.h>
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
    BusPeer(const String& busName, std::recursive_mutex& lock, Handler handler)
        : busName(busName), lock(lock), handler(std::move(handler)),
          bus(Connect(busName), &sd_bus_flush_close_unref),
          thread([this](const std::stop_token& end) { Serve(end); })
    {
    }

    /// Waits for a handler that runs, then breaks the connection; what was not answered gets no answer. The
    /// name is free when it returns. Neither on the peer's thread nor with the lock held.
    ~BusPeer()
    {
        thread = {};
        // Waits for the bus, which notices the end of a connection at some later time.
        sd_bus_release_name(bus.get(), busName.c_str());
    }

    [[nodiscard]] sd_bus* Get() const noexcept { return bus.get(); }

private:
    static sd_bus* Connect(const String& busName)
    {
        static_cast<void>(PrivateBus::OfProcess());
        sd_bus* bus = nullptr;
        if (sd_bus_open_system(&bus) < 0 || sd_bus_request_name(bus, busName.c_str(), 0) < 0)
        {
            throw Exception("The bus refused to connect or to give the name");
        }
        return bus;
    }

    void Serve(const std::stop_token& end)
    {
        while (!end.stop_requested())
        {
            std::unique_lock held(lock);
            sd_bus_message* message = nullptr;
            if (sd_bus_process(bus.get(), &message) > 0)
            {
                message != nullptr ? handler(message) : void();
                sd_bus_message_unref(message);
                continue;
            }
            // What is no descriptor, as that of a broken connection, is not waited for.
            pollfd source{sd_bus_get_fd(bus.get()), static_cast<short>(sd_bus_get_events(bus.get())), 0};
            held.unlock();
            // In milliseconds, after which it looks whether to end.
            ::poll(&source, 1, 10);
        }
    }

    const String busName;
    std::recursive_mutex& lock;
    const Handler handler;
    const std::unique_ptr<sd_bus, sd_bus* (*)(sd_bus*)> bus;
    std::jthread thread;
};

} // namespace Zel::Tests::Support

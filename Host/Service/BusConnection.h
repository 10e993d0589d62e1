#pragma once

#include "Service/EventLoop.h"

#include "Zel/String.h"

#include <chrono>
#include <functional>
#include <memory>

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

namespace Zel::Host::Service
{

/// A method call of the service's to another one.
struct BusCall
{
    String destination;
    String path;
    String interface;
    String member;
    std::chrono::microseconds timeout;
    /// Appends the arguments, and returns a negated errno on failure; empty for none.
    std::function<int(sd_bus_message* call)> write;
};

/// How such a call ended.
struct BusAnswer
{
    /// The D-Bus error's name; empty for a success.
    String errorName;
    /// The error's text, or the first value of a success if that is a text, or holds one.
    String text;
    /// The answer from its beginning, borrowed while the handler runs; null where nothing was sent.
    sd_bus_message* message = nullptr;

    [[nodiscard]] bool IsOk() const noexcept { return errorName.empty(); }
};

/// The service's connection to the system bus, served by the loop. Lives until the bus is gone, then another
/// one has to be made. Used on the loop's thread, which is also where its handlers are called; none is called
/// after its destruction.
class BusConnection
{
public:
    using AnswerHandler = std::function<void(const BusAnswer& answer)>;
    using OwnerHandler = std::function<void(bool owned)>;

    /// Connects; throws `Exception` when that fails. `lost` is posted to the loop once the bus is gone.
    BusConnection(EventLoop& loop, EventLoop::Task lost);
    /// Writes out what is queued, and closes.
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    /// Throws `Exception`, also when another process owns the name.
    void RequestName(const String& name);

    /// Tells each time a name's owner comes or goes, from now on.
    void WatchName(const String& name, OwnerHandler handler);

    /// Calls a method; a destination that can be activated is. What cannot be sent is answered with an error.
    void Call(const BusCall& call, AnswerHandler handler);

    /// The connection of libsystemd; owned here.
    [[nodiscard]] sd_bus* Get() const noexcept;

private:
    struct Close
    {
        void operator()(sd_bus* closed) const noexcept;
    };

    void WatchLoss();

    EventLoop::Task lost;
    std::unique_ptr<sd_bus, Close> bus;
};

} // namespace Zel::Host::Service

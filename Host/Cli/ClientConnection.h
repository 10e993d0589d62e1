#pragma once

#include "Cli/InterruptSignals.h"

#include "Zel/String.h"

#include <chrono>
#include <functional>
#include <memory>

struct sd_bus;
struct sd_bus_message;

namespace Zel::Host::Cli
{

struct BusDeleter
{
    void operator()(sd_bus* bus) const noexcept;
};

struct MessageDeleter
{
    void operator()(sd_bus_message* message) const noexcept;
};

using BusMessage = std::unique_ptr<sd_bus_message, MessageDeleter>;

/// A private connection to the system bus (`DBUS_SYSTEM_BUS_ADDRESS` where it is set), for one thread. A wait
/// ends with `Interrupted` when a signal arrives, and with `BusError` when the bus goes away.
class ClientConnection
{
public:
    using Clock = std::chrono::steady_clock;
    using SignalHandler = std::function<void(sd_bus_message& signal)>;

    /// Wait without an end.
    static constexpr Clock::time_point Forever = Clock::time_point::max();

    /// Connects. Throws `BusError` when the bus cannot be reached.
    explicit ClientConnection(const InterruptSignals& interrupts);

    /// `handler` gets every D-Bus signal that arrives during a wait, in the order of arrival. What it throws
    /// passes to the caller of the wait.
    void SetSignalHandler(SignalHandler handler);

    /// Returns a method call without arguments.
    [[nodiscard]] BusMessage NewCall(const String& destination, const String& path, const String& interface,
                                     const String& member);

    /// Sends the call and returns its reply. Throws `BusError` for an error reply and when `deadline` passes.
    [[nodiscard]] BusMessage Call(BusMessage call, Clock::time_point deadline);

    /// Asks the bus for the signals of a match rule. Throws `BusError`, also when `deadline` passes.
    void Subscribe(const String& rule, Clock::time_point deadline);

    /// Waits for one message. Returns whether one arrived before `deadline`.
    [[nodiscard]] bool WaitForMessage(Clock::time_point deadline);

    /// Throws `BusError` when `result`, as a function of libsystemd returned it, is a failure.
    static void Check(int result);

private:
    [[nodiscard]] BusMessage Receive(Clock::time_point deadline);
    [[nodiscard]] bool WaitForInput(Clock::time_point deadline);
    void Dispatch(BusMessage message);

    const InterruptSignals& interrupts;
    std::unique_ptr<sd_bus, BusDeleter> bus;
    SignalHandler signalHandler;
};

} // namespace Zel::Host::Cli

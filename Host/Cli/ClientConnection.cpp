#include "Cli/ClientConnection.h"

#include "Cli/BusError.h"

#include <poll.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace Zel::Host::Cli
{

namespace
{

/// Returns the D-Bus error that a failed function of libsystemd stands for.
BusError ToBusError(int errorNumber)
{
    sd_bus_error error{};
    sd_bus_error_set_errno(&error, errorNumber);
    BusError result(error.name, error.message);
    sd_bus_error_free(&error);
    return result;
}

/// The errno of a connection alone would look like a missing file or a refusal by the service.
BusError ToConnectionError(const String& name, int errorNumber)
{
    return {name, "the system bus cannot be reached: " + std::generic_category().message(errorNumber)};
}

int ToPollTimeout(ClientConnection::Clock::time_point deadline)
{
    if (deadline == ClientConnection::Forever)
    {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - ClientConnection::Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 3'600'000));
}

/// Returns the earlier one of `deadline` and the time at which the bus library wants to be called again.
ClientConnection::Clock::time_point GetNextDeadline(sd_bus& bus, ClientConnection::Clock::time_point deadline)
{
    std::uint64_t time = UINT64_MAX; // CLOCK_MONOTONIC, as the steady clock
    ClientConnection::Check(sd_bus_get_timeout(&bus, &time));
    if (time >= INT64_MAX)
    {
        return deadline;
    }
    const std::chrono::microseconds sinceBoot(static_cast<std::int64_t>(time));
    return std::min(deadline, ClientConnection::Clock::time_point(sinceBoot));
}

} // namespace

void BusDeleter::operator()(sd_bus* bus) const noexcept
{
    sd_bus_close_unref(bus);
}

void MessageDeleter::operator()(sd_bus_message* message) const noexcept
{
    sd_bus_message_unref(message);
}

ClientConnection::ClientConnection(const InterruptSignals& interrupts) : interrupts(interrupts)
{
    sd_bus* opened = nullptr;
    const int result = sd_bus_open_system(&opened);
    bus.reset(opened);
    if (result < 0)
    {
        throw ToConnectionError(BusError::NoServer, -result);
    }
}

void ClientConnection::SetSignalHandler(SignalHandler handler)
{
    signalHandler = std::move(handler);
}

BusMessage ClientConnection::NewCall(const String& destination, const String& path, const String& interface,
                                     const String& member)
{
    sd_bus_message* call = nullptr;
    Check(sd_bus_message_new_method_call(bus.get(), &call, destination.c_str(), path.c_str(),
                                         interface.c_str(), member.c_str()));
    return BusMessage(call);
}

BusMessage ClientConnection::Call(BusMessage call, Clock::time_point deadline)
{
    std::uint64_t cookie = 0;
    Check(sd_bus_send(bus.get(), call.get(), &cookie));
    while (BusMessage message = Receive(deadline))
    {
        std::uint64_t answered = 0;
        if (sd_bus_message_get_reply_cookie(message.get(), &answered) < 0 || answered != cookie)
        {
            Dispatch(std::move(message));
        }
        else if (sd_bus_message_is_method_error(message.get(), nullptr) > 0)
        {
            throw BusError::Received(*message);
        }
        else
        {
            return message;
        }
    }
    throw BusError(BusError::Timeout, "the service does not answer");
}

void ClientConnection::Subscribe(const String& rule, Clock::time_point deadline)
{
    const String daemon = "org.freedesktop.DBus";
    BusMessage call = NewCall(daemon, "/org/freedesktop/DBus", daemon, "AddMatch");
    Check(sd_bus_message_append(call.get(), "s", rule.c_str()));
    static_cast<void>(Call(std::move(call), deadline));
}

bool ClientConnection::WaitForMessage(Clock::time_point deadline)
{
    BusMessage message = Receive(deadline);
    const bool arrived = message != nullptr;
    if (arrived)
    {
        Dispatch(std::move(message));
    }
    return arrived;
}

void ClientConnection::Check(int result)
{
    if (result < 0)
    {
        throw ToBusError(-result);
    }
}

BusMessage ClientConnection::Receive(Clock::time_point deadline)
{
    while (true)
    {
        sd_bus_message* received = nullptr;
        const int result = sd_bus_process(bus.get(), &received);
        BusMessage message(received);
        if (result < 0)
        {
            throw ToConnectionError(BusError::Disconnected, -result);
        }
        if (message != nullptr)
        {
            return message;
        }
        if (result == 0 && !WaitForInput(deadline))
        {
            return nullptr;
        }
    }
}

bool ClientConnection::WaitForInput(Clock::time_point deadline)
{
    interrupts.ThrowIfArrived();
    const int events = sd_bus_get_events(bus.get());
    Check(events);
    std::array<pollfd, 2> inputs = {pollfd{sd_bus_get_fd(bus.get()), static_cast<short>(events), 0},
                                    pollfd{interrupts.GetDescriptor(), POLLIN, 0}};
    const int result = poll(inputs.data(), inputs.size(), ToPollTimeout(GetNextDeadline(*bus, deadline)));
    if (result < 0 && errno != EINTR)
    {
        throw ToConnectionError(BusError::Disconnected, errno);
    }
    interrupts.ThrowIfArrived();
    return Clock::now() < deadline;
}

void ClientConnection::Dispatch(BusMessage message)
{
    if (sd_bus_message_is_signal(message.get(), "org.freedesktop.DBus.Local", "Disconnected") > 0)
    {
        throw BusError(BusError::Disconnected, "the system bus has gone");
    }
    if (signalHandler && sd_bus_message_is_signal(message.get(), nullptr, nullptr) > 0)
    {
        signalHandler(*message);
    }
}

} // namespace Zel::Host::Cli

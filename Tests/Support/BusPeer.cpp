#include "Support/BusPeer.h"

#include "Zel/Exception.h"

#include <dbus/dbus.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

void Require(bool succeeded, const char* action)
{
    if (!succeeded)
    {
        throw Exception(String("The bus refused to ") + action);
    }
}

using Connection = std::unique_ptr<DBusConnection, void (*)(DBusConnection*)>;

Connection Connect(const String& busAddress, const String& busName)
{
    const auto close = [](DBusConnection* connection)
    { dbus_connection_close(connection), dbus_connection_unref(connection); };
    Connection connection(dbus_connection_open_private(busAddress.c_str(), nullptr), close);
    Require(connection != nullptr, "connect");
    Require(dbus_bus_register(connection.get(), nullptr), "register");
    dbus_connection_set_exit_on_disconnect(connection.get(), FALSE);
    constexpr unsigned Flags = DBUS_NAME_FLAG_DO_NOT_QUEUE;
    Require(busName.empty() || dbus_bus_request_name(connection.get(), busName.c_str(), Flags, nullptr) ==
                                   DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER,
            "give the name");
    return connection;
}

} // namespace

BusPeer::BusPeer(const String& busAddress, String name, Handler peerHandler)
    : busName(std::move(name)), handler(std::move(peerHandler)), connection(Connect(busAddress, busName)),
      wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), thread([this] { Serve(); })
{
}

BusPeer::~BusPeer()
{
    isEnding = true;
    Wake();
    thread.join();
    ::close(wakeUp);
    if (!busName.empty())
    {
        // Waits for the bus, which notices the end of a connection at some later time.
        dbus_bus_release_name(connection.get(), busName.c_str(), nullptr);
    }
}

void BusPeer::Send(const BusMessage& message)
{
    dbus_connection_send(connection.get(), message.Get(), nullptr);
    dbus_connection_flush(connection.get());
    // Flushing may have read a message that the thread now waits for in vain.
    Wake();
}

void BusPeer::Wake() const
{
    const std::uint64_t one = 1;
    static_cast<void>(::write(wakeUp, &one, sizeof(one)));
}

void BusPeer::Serve()
{
    bool isConnected = true;
    while (!isEnding)
    {
        isConnected = isConnected && dbus_connection_read_write(connection.get(), 0);
        while (DBusMessage* message = dbus_connection_pop_message(connection.get()))
        {
            handler(BusMessage(message));
        }
        WaitForWork(isConnected);
    }
}

void BusPeer::WaitForWork(bool isConnected) const
{
    int socket = -1;
    dbus_connection_get_unix_fd(connection.get(), &socket);
    std::array<pollfd, 2> sources{pollfd{wakeUp, POLLIN, 0}, pollfd{isConnected ? socket : -1, POLLIN, 0}};
    ::poll(sources.data(), sources.size(), -1);
    std::uint64_t count = 0;
    static_cast<void>(::read(wakeUp, &count, sizeof(count)));
}

} // namespace Zel::Tests::Support

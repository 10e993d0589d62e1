#include "Support/BusPeer.h"

#include "Zel/Exception.h"

#include <dbus/dbus.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <thread>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

/// Throws when libdbus reported an error; frees it.
class Checked
{
public:
    Checked() { dbus_error_init(&error); }

    ~Checked() { dbus_error_free(&error); }

    Checked(const Checked&) = delete;
    Checked& operator=(const Checked&) = delete;

    operator DBusError*() noexcept { return &error; }

    void Throw() const
    {
        if (dbus_error_is_set(&error))
        {
            throw Exception(String("The bus refused: ") + error.message);
        }
    }

private:
    DBusError error{};
};

void CloseConnection(DBusConnection* connection)
{
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

std::unique_ptr<DBusConnection, void (*)(DBusConnection*)> Connect(const String& busAddress,
                                                                   const String& busName)
{
    Checked error;
    std::unique_ptr<DBusConnection, void (*)(DBusConnection*)> connection(
        dbus_connection_open_private(busAddress.c_str(), error), &CloseConnection);
    error.Throw();
    dbus_bus_register(connection.get(), error);
    error.Throw();
    dbus_connection_set_exit_on_disconnect(connection.get(), FALSE);
    if (!busName.empty() &&
        dbus_bus_request_name(connection.get(), busName.c_str(), DBUS_NAME_FLAG_DO_NOT_QUEUE, error) !=
            DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER)
    {
        error.Throw();
        throw Exception("The bus name " + busName + " is taken");
    }
    return connection;
}

} // namespace

class BusPeer::Service
{
public:
    Service(const String& busAddress, const String& busName, Handler handler)
        : busName(busName), handler(std::move(handler)), connection(Connect(busAddress, busName)),
          wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), thread([this] { Serve(); })
    {
    }

    ~Service()
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

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    void Send(const BusMessage& message)
    {
        dbus_connection_send(connection.get(), message.Get(), nullptr);
        dbus_connection_flush(connection.get());
        // Flushing may have read a message that the thread now waits for in vain.
        Wake();
    }

private:
    void Wake() const
    {
        const std::uint64_t one = 1;
        static_cast<void>(::write(wakeUp, &one, sizeof(one)));
    }

    void Serve()
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

    void WaitForWork(bool isConnected) const
    {
        int socket = -1;
        dbus_connection_get_unix_fd(connection.get(), &socket);
        std::array<pollfd, 2> sources{pollfd{wakeUp, POLLIN, 0},
                                      pollfd{isConnected ? socket : -1, POLLIN, 0}};
        ::poll(sources.data(), sources.size(), -1);
        std::uint64_t count = 0;
        static_cast<void>(::read(wakeUp, &count, sizeof(count)));
    }

    const String busName;
    const Handler handler;
    const std::unique_ptr<DBusConnection, void (*)(DBusConnection*)> connection;
    const int wakeUp;
    std::atomic<bool> isEnding = false;
    std::thread thread;
};

BusPeer::BusPeer(const String& busAddress, const String& busName, Handler handler)
    : service(std::make_unique<Service>(busAddress, busName, std::move(handler)))
{
}

BusPeer::~BusPeer() = default;

void BusPeer::Send(const BusMessage& message)
{
    service->Send(message);
}

} // namespace Zel::Tests::Support

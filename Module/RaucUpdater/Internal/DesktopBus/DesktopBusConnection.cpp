#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusError.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusValidation.h"
#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Zel/Immortal.h"
#include "Zel/System/Commons/Delegate.h"
#include "Zel/System/Core/Format.h"

#include <dbus/dbus.h>

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Delegate;
using System::Commons::Diagnostics::Logging::LogLevel;

namespace
{

/// What is left in the process's connection would be the next owner's, who would take the end of an earlier
/// installation for that of a present one; and after the bus died libdbus gives out a new connection only
/// when nothing is left to read in the old one.
void DropUnreadMessages(DBusConnection* connection)
{
    while (DesktopBusMessage(dbus_connection_pop_message(connection)).IsSet())
    {
    }
}

/// A bus that dies must not end the process.
void KeepProcessOnDisconnect(DBusConnection* connection)
{
    if (connection != nullptr)
    {
        dbus_connection_set_exit_on_disconnect(connection, FALSE);
    }
}

/// Returns the connection that an earlier owner had, if there was one.
[[nodiscard]] DBusConnection* GetSystemBus(DesktopBusError& error)
{
    DBusConnection* const connection = dbus_bus_get(DBUS_BUS_SYSTEM, error.Get());
    KeepProcessOnDisconnect(connection);
    return connection;
}

/// The bus may have died unnoticed: reading tells.
[[nodiscard]] bool IsAlive(DBusConnection* connection)
{
    return dbus_connection_read_write(connection, 0) && dbus_connection_get_is_connected(connection);
}

} // namespace

const DesktopBusCallGate& DesktopBusConnection::CallGate()
{
    static Immortal<DesktopBusCallGate> gate;
    return gate.Get();
}

void DesktopBusConnection::Unref::operator()(DBusConnection* owned) const noexcept
{
    dbus_connection_unref(owned);
}

DesktopBusConnection::DesktopBusConnection() = default;

DesktopBusConnection::DesktopBusConnection(DBusConnection* connection) : connection(connection)
{
    KeepProcessOnDisconnect(connection);
    static_cast<void>(Open());
}

DesktopBusConnection::~DesktopBusConnection()
{
    Close();
}

bool DesktopBusConnection::Open()
{
    if (!IsSet() && !ConnectToSystemBus())
    {
        return false;
    }
    if (isListening)
    {
        Log(LogLevel::Debug, "Already listening for DBUS signals.");
        return true;
    }
    const auto readSignals = Delegate<>::Bind<&DesktopBusConnection::ReadSignals>(this);
    // Still there when the connection was told to stop listening and is opened again.
    signalListenerTimer.Elapsed.Remove(readSignals);
    signalListenerTimer.Elapsed.Add(readSignals);
    static_cast<void>(StartListenForSignals());
    static_cast<void>(ListenForSignal(RaucCompletedSignal::SignalInterface));
    static_cast<void>(ListenForSignal(PropertiesChangedSignal::SignalInterface));
    return true;
}

bool DesktopBusConnection::ConnectToSystemBus()
{
    Log(LogLevel::Debug, "{0}", "Open");
    DesktopBusError error;
    const auto pass = CallGate().Enter();
    connection.reset(GetSystemBus(error));
    if (IsSet() && !IsAlive(Get()))
    {
        DropUnreadMessages(Get());
        connection.reset();
        connection.reset(GetSystemBus(error));
    }
    if (error.IsSet())
    {
        Log(LogLevel::Error, "Connection Error {0}", error.GetMessage());
    }
    return IsSet() && !error.IsSet();
}

void DesktopBusConnection::Close()
{
    if (!IsSet())
    {
        return;
    }
    Log(LogLevel::Debug, "{0}", "Close");
    static_cast<void>(UnlistenForSignal(PropertiesChangedSignal::SignalInterface));
    static_cast<void>(UnlistenForSignal(RaucCompletedSignal::SignalInterface));
    static_cast<void>(StopListenForSignals());
    signalListenerTimer.Elapsed.Remove(Delegate<>::Bind<&DesktopBusConnection::ReadSignals>(this));
    const auto pass = CallGate().Enter();
    DropUnreadMessages(Get());
    connection.reset();
}

bool DesktopBusConnection::SendMessageAsync(const DesktopBusMessage& message) const
{
    const auto pass = CallGate().Enter();
    if (!IsSet() || !message.IsSet() || !dbus_connection_send(Get(), message.Get(), nullptr))
    {
        return false;
    }
    dbus_connection_flush(Get());
    return true;
}

DesktopBusPendingCall DesktopBusConnection::SendMessageWithReplyAsync(const DesktopBusMessage& message) const
{
    auto pass = CallGate().Enter();
    DBusPendingCall* pendingCall = nullptr;
    if (!IsSet() || !message.IsSet() ||
        !dbus_connection_send_with_reply(Get(), message.Get(), &pendingCall, DBUS_TIMEOUT_USE_DEFAULT))
    {
        Log(LogLevel::Error, "Out of mem dbus error.");
        return DesktopBusPendingCall(nullptr);
    }
    dbus_connection_flush(Get());
    if (pendingCall == nullptr)
    {
        // The connection is dead, and the pass would keep nobody from a reply.
        pass.Release();
    }
    return DesktopBusPendingCall(pendingCall, std::move(pass));
}

DesktopBusMessage DesktopBusConnection::GetReply(const DesktopBusPendingCall& pendingCall) const
{
    return pendingCall.TakeReply();
}

bool DesktopBusConnection::ListenForSignal(const String& interfaceName) const
{
    Log(LogLevel::Debug, "{0}: {1}", "ListenForSignal", interfaceName);
    DesktopBusError error;
    ChangeMatch(interfaceName, &dbus_bus_add_match, error);
    if (error.IsSet())
    {
        Log(LogLevel::Error, "Add signal error {0}", error.GetMessage());
        return false;
    }
    Log(LogLevel::Trace, "Listen on DBUS signal {0}", interfaceName);
    return true;
}

bool DesktopBusConnection::UnlistenForSignal(const String& interfaceName) const
{
    Log(LogLevel::Debug, "{0}: {1}", "UnlistenForSignal", interfaceName);
    DesktopBusError error;
    ChangeMatch(interfaceName, &dbus_bus_remove_match, error);
    if (error.IsSet())
    {
        Log(LogLevel::Error, "Remove signal error {0}", error.GetMessage());
        return false;
    }
    Log(LogLevel::Debug, "Unlisten on DBUS signal {0}", interfaceName);
    return true;
}

void DesktopBusConnection::ChangeMatch(const String& interfaceName, MatchOperation operation,
                                       DesktopBusError& error) const
{
    if (!IsInterfaceName(interfaceName))
    {
        dbus_set_error_const(error.Get(), DBUS_ERROR_INVALID_ARGS, "The interface name is not valid");
        return;
    }
    // The bus answers, and the listener must not take that answer either.
    const auto pass = CallGate().Enter();
    if (!IsSet())
    {
        dbus_set_error_const(error.Get(), DBUS_ERROR_DISCONNECTED, "Connection is closed");
        return;
    }
    const String rule = System::Core::Format("type='signal',interface='{0}'", interfaceName);
    operation(Get(), rule.c_str(), error.Get());
    dbus_connection_flush(Get());
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

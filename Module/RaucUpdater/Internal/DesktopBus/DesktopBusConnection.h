#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusCallGate.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusPendingCall.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Chrono/Timer.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Threading/Mutex.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

struct DBusConnection;
struct DBusError;

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

class DesktopBusError;

/// The connection to the system bus: sends method calls, waits for replies and hands RAUC's signals to their
/// classes. Signals are read by a timer twice a second, on the timer's thread, with the connection's lock
/// held (a recursive one: a handler may start, stop and close the connection, and make calls).
///
/// No operation throws for a D-Bus failure; each returns false or something unset, and the reason is logged
/// where it is known. One call is under way at a time, over all connections of the process, because libdbus
/// gives them all the same connection: callers wait for each other, and signals wait while a call runs.
/// Opening and closing are one owner's, not concurrent with each other or with anything else; all else may be
/// called from any thread.
class DesktopBusConnection : private System::Commons::Diagnostics::Logging::Loggable<DesktopBusConnection>
{
public:
    inline static const String SignalListenerTimerName = "RaucUpdaterDBUS";

    /// Period of the signal listener in microseconds.
    static constexpr std::int64_t SignalListenerTimerInterval = 500'000;

    /// How long the signal listener waits for a call to end before it leaves the signals to its next run.
    static constexpr std::chrono::milliseconds SignalListenerGateLimit{250};

    /// Closed.
    DesktopBusConnection();

    /// Adopts the caller's reference and starts listening.
    explicit DesktopBusConnection(DBusConnection* connection);

    /// Closes.
    virtual ~DesktopBusConnection();
    DesktopBusConnection(const DesktopBusConnection&) = delete;
    DesktopBusConnection& operator=(const DesktopBusConnection&) = delete;

    /// The libdbus connection, still owned here; null when closed.
    [[nodiscard]] DBusConnection* Get() const noexcept { return connection.get(); }

    [[nodiscard]] bool IsSet() const noexcept { return connection != nullptr; }

    /// Connects to the system bus and listens to the interfaces of RAUC's signals. Returns true as well when
    /// it was open; false (logged) when there is no bus. That the bus refused a signal interface is only
    /// logged. One object at a time is open, so a process has one module, and nobody else in it uses
    /// libdbus's shared connection to the system bus.
    [[nodiscard]] bool Open();

    /// Ends listening, drops what nobody has read and lets the connection go; does nothing when closed. When
    /// it returns to another thread than the listener's, no handler runs any more. The next `Open` gets the
    /// process's connection again, or a new one when the bus has died.
    void Close();

    /// Sends, waits for calls that are under way, but for no reply; false (not logged) when closed, when the
    /// message is unset or when libdbus refuses.
    [[nodiscard]] bool SendMessageAsync(const DesktopBusMessage& message) const;

    /// Sends a call whose reply `GetReply` takes; the pending call is unset when it could not be sent. The
    /// thread may queue further calls before it takes the first reply.
    [[nodiscard]] DesktopBusPendingCall SendMessageWithReplyAsync(const DesktopBusMessage& message) const;

    /// Blocks until the reply is there, for at most libdbus's timeout (25 s), whose error is the reply then.
    /// Unset when the pending call is unset or its reply was taken before.
    [[nodiscard]] DesktopBusMessage GetReply(const DesktopBusPendingCall& pendingCall) const;

    /// Asks the bus for all signals of an interface; false (logged) when the bus or the name refuses.
    [[nodiscard]] bool ListenForSignal(const String& interfaceName) const;
    /// Takes that back.
    [[nodiscard]] bool UnlistenForSignal(const String& interfaceName) const;

    /// Starts or resumes the reading of signals; returns whether they are read.
    [[nodiscard]] bool StartListenForSignals();

    /// Ends the reading of signals; waits for a running handler, except on the listener's thread. Returns
    /// true.
    [[nodiscard]] bool StopListenForSignals();

    /// Reads and handles the signals that have arrived, until there is none; the timer's handler. Any other
    /// message that stands in between is dropped and ends the run, and so does a call that takes longer than
    /// `SignalListenerGateLimit`. An exception of a signal's handler is logged and the next signal is read.
    void ReadSignals();

private:
    struct Unref
    {
        void operator()(DBusConnection* owned) const noexcept;
    };

    using MatchOperation = void (*)(DBusConnection* connection, const char* rule, DBusError* error);

    /// One gate for all connections, since libdbus gives all of them the process's one connection to the bus.
    [[nodiscard]] static const DesktopBusCallGate& CallGate();
    [[nodiscard]] bool ConnectToSystemBus();
    void ChangeMatch(const String& interfaceName, MatchOperation operation, DesktopBusError& error) const;
    [[nodiscard]] std::optional<DesktopBusMessage> TakeIncoming() const;
    static void HandleSignal(const DesktopBusMessage& message);
    static void DispatchSignal(const DesktopBusMessage& message);

    System::Commons::Threading::Mutex mutex{true};
    std::unique_ptr<DBusConnection, Unref> connection;
    System::Commons::Chrono::Timer signalListenerTimer{SignalListenerTimerInterval, SignalListenerTimerName,
                                                       0, 0};
    std::atomic<bool> isListening = false;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

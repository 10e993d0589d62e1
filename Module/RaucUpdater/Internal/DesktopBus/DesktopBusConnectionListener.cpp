#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"

#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Zel/Exception.h"

#include <dbus/dbus.h>

#include <mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

namespace
{

[[nodiscard]] String TextOrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

bool DesktopBusConnection::StartListenForSignals()
{
    Log(LogLevel::Debug, "{0}", "StartListenForSignals");
    {
        const std::lock_guard lock(mutex);
        if (isListening)
        {
            return true;
        }
    }
    // Not under the lock, which a handler may hold that another thread's stop waits for, and the timer's
    // start for that stop.
    if (signalListenerTimer.IsRunning())
    {
        Log(LogLevel::Warning, "Invalid state of SignalListenerTimer and isListening.");
    }
    else
    {
        signalListenerTimer.Start();
    }
    const std::lock_guard lock(mutex);
    isListening = signalListenerTimer.IsRunning();
    return isListening;
}

bool DesktopBusConnection::StopListenForSignals()
{
    if (isListening)
    {
        Log(LogLevel::Debug, "{0}", "StopListenForSignals");
        const std::lock_guard lock(mutex);
        isListening = false;
    }
    // Also when it does not run any more: a handler that has stopped it may still be at work.
    signalListenerTimer.Stop();
    const std::lock_guard lock(mutex);
    isListening = signalListenerTimer.IsRunning();
    return true;
}

void DesktopBusConnection::ReadSignals()
{
    while (isListening)
    {
        const std::lock_guard lock(mutex);
        if (!isListening)
        {
            return;
        }
        const auto message = TakeIncoming();
        if (!message)
        {
            return;
        }
        if (!message->IsSignal())
        {
            Log(LogLevel::Trace, "There is no available signal.");
            return;
        }
        Log(LogLevel::Trace, "Listerner got signal."); // The misspelling is meant.
        HandleSignal(*message);
    }
}

std::optional<DesktopBusMessage> DesktopBusConnection::TakeIncoming() const
{
    const auto pass = CallGate().TryEnter(SignalListenerGateLimit);
    if (!pass.IsHeld() || !IsSet() || !dbus_connection_read_write(Get(), 0))
    {
        return std::nullopt;
    }
    return DesktopBusMessage(dbus_connection_pop_message(Get()));
}

void DesktopBusConnection::HandleSignal(const DesktopBusMessage& message)
{
    try
    {
        DispatchSignal(message);
    }
    catch (...)
    {
        Log(LogLevel::Error, "Handler of a signal failed: {0}", DescribeCurrentException());
    }
}

void DesktopBusConnection::DispatchSignal(const DesktopBusMessage& message)
{
    if (message.IsSignal(RaucCompletedSignal::SignalInterface, RaucCompletedSignal::SignalName))
    {
        Log(LogLevel::Trace, "Got RaucCompletedSignal signal.");
        if (!RaucCompletedSignal::Notify(message))
        {
            Log(LogLevel::Error, "Failed to notify RaucCompletedSignal");
        }
    }
    else if (message.IsSignal(PropertiesChangedSignal::SignalInterface, PropertiesChangedSignal::SignalName))
    {
        Log(LogLevel::Trace, "Got PropertiesChanged signal.");
        if (!PropertiesChangedSignal::Notify(message))
        {
            Log(LogLevel::Error, "Failed to notify PropertiesChangedSignal");
        }
    }
    else
    {
        Log(LogLevel::Debug, "Ignore signal: Path={0}; interface={1}; member={2}",
            TextOrEmpty(dbus_message_get_path(message.Get())),
            TextOrEmpty(dbus_message_get_interface(message.Get())),
            TextOrEmpty(dbus_message_get_member(message.Get())));
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

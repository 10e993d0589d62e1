#include "RaucUpdater/Internal/DesktopBus/DesktopBusPendingCall.h"

#include <dbus/dbus.h>

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

void DesktopBusPendingCall::Unref::operator()(DBusPendingCall* owned) const noexcept
{
    if (!dbus_pending_call_get_completed(owned))
    {
        // Without that libdbus keeps it as long as the connection lives.
        dbus_pending_call_cancel(owned);
    }
    dbus_pending_call_unref(owned);
}

DesktopBusPendingCall::DesktopBusPendingCall(DBusPendingCall* pendingCall) noexcept : pendingCall(pendingCall)
{
}

DesktopBusPendingCall::DesktopBusPendingCall(DBusPendingCall* pendingCall,
                                             DesktopBusCallGate::Pass pass) noexcept
    : pass(std::move(pass)), pendingCall(pendingCall)
{
}

DesktopBusPendingCall::~DesktopBusPendingCall() = default;

DesktopBusPendingCall::DesktopBusPendingCall(DesktopBusPendingCall&& other) noexcept = default;

DesktopBusPendingCall& DesktopBusPendingCall::operator=(DesktopBusPendingCall&& other) noexcept = default;

DesktopBusMessage DesktopBusPendingCall::TakeReply() const
{
    // libdbus ends the process when it is asked for a reply that was taken.
    if (!IsSet() || std::exchange(isReplyTaken, true))
    {
        return {};
    }
    dbus_pending_call_block(pendingCall.get());
    DesktopBusMessage reply(dbus_pending_call_steal_reply(pendingCall.get()));
    pass.Release();
    return reply;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

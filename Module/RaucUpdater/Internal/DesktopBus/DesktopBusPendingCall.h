#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusCallGate.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include <memory>

struct DBusPendingCall;

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Owns one libdbus pending call: a call that was sent and whose reply is to come. Moved, never copied; a
/// moved one is unset. It is used up by one thread soon: until its reply was taken, or it is destroyed, it
/// keeps the signal listener and the calls of all other threads waiting.
class DesktopBusPendingCall
{
public:
    /// Adopts the caller's reference; a null pointer gives an unset pending call.
    explicit DesktopBusPendingCall(DBusPendingCall* pendingCall) noexcept;

    /// The same, and holds `pass` until the reply was taken.
    DesktopBusPendingCall(DBusPendingCall* pendingCall, DesktopBusCallGate::Pass pass) noexcept;

    /// Cancels the call unless its reply has come, then gives the reference and the pass back. A reply that
    /// was not taken is lost.
    virtual ~DesktopBusPendingCall();
    DesktopBusPendingCall(const DesktopBusPendingCall&) = delete;
    DesktopBusPendingCall& operator=(const DesktopBusPendingCall&) = delete;
    DesktopBusPendingCall(DesktopBusPendingCall&& other) noexcept;
    DesktopBusPendingCall& operator=(DesktopBusPendingCall&& other) noexcept;

    /// The pending call, still owned here; null when unset.
    [[nodiscard]] DBusPendingCall* Get() const noexcept { return pendingCall.get(); }

    [[nodiscard]] bool IsSet() const noexcept { return pendingCall != nullptr; }

    /// Blocks until the reply, or libdbus's own error reply after its timeout (25 s), is there, and returns
    /// it. Returns an unset message when the pending call is unset or its reply was taken before.
    [[nodiscard]] DesktopBusMessage TakeReply() const;

private:
    struct Unref
    {
        void operator()(DBusPendingCall* owned) const noexcept;
    };

    mutable DesktopBusCallGate::Pass pass;
    mutable bool isReplyTaken = false;
    std::unique_ptr<DBusPendingCall, Unref> pendingCall;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

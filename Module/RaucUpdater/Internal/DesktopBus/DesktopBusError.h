#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "Zel/String.h"

#include <memory>

struct DBusError;

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// A libdbus error: a name and a message, or not set.
class DesktopBusError
{
public:
    /// The error of a call that got no answer within libdbus's reply timeout (25 s), or whose peer has gone.
    inline static const String NoReplyName = "org.freedesktop.DBus.Error.NoReply";

    /// Not set.
    DesktopBusError();

    /// Set exactly when `message` is an error.
    explicit DesktopBusError(const DesktopBusMessage& message);

    /// Does not free the error's texts, which is meant: they outlive every user of the error.
    virtual ~DesktopBusError();
    DesktopBusError(const DesktopBusError&) = delete;
    DesktopBusError& operator=(const DesktopBusError&) = delete;

    /// The error for libdbus to fill, which it may only do while the error is not set.
    [[nodiscard]] DBusError* Get() noexcept { return error.get(); }

    /// Replaces the error by that of `message` and returns true; returns false and changes nothing when
    /// `message` is not an error.
    [[nodiscard]] bool Set(const DesktopBusMessage& message);

    [[nodiscard]] bool IsSet() const noexcept;

    /// Empty when not set.
    [[nodiscard]] String GetName() const;

    /// Empty when not set.
    [[nodiscard]] String GetMessage() const;

    /// Whether the name is exactly `NoReplyName`.
    [[nodiscard]] bool IsNoReply() const;

private:
    std::unique_ptr<DBusError> error;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#pragma once

#include "Cli/CommandError.h"

struct sd_bus_message;

namespace Zel::Host::Cli
{

/// A D-Bus error, or the loss of the bus or of the service. Exit code and hint come from `ErrorTable`.
class BusError : public CommandError
{
public:
    /// The bus does not take the connection.
    inline static const String NoServer = "org.freedesktop.DBus.Error.NoServer";
    /// The connection to the bus was lost.
    inline static const String Disconnected = "org.freedesktop.DBus.Error.Disconnected";
    /// The service's name has no owner (any more).
    inline static const String NameHasNoOwner = "org.freedesktop.DBus.Error.NameHasNoOwner";
    /// There was no answer in time.
    inline static const String Timeout = "org.freedesktop.DBus.Error.Timeout";
    /// An answer that does not have the shape of the service's interface.
    inline static const String InvalidAnswer = "org.freedesktop.DBus.Error.InvalidSignature";
    /// The service does not take a value.
    inline static const String InvalidArgument = "zel.SoftwareUpdate1.Error.InvalidArgument";

    /// `name` is the D-Bus error's name, `reason` its text as received.
    BusError(String name, const String& reason);

    /// Makes one of an answer that is an error. The bus's own words, which tell of its inside, are replaced.
    [[nodiscard]] static BusError Received(sd_bus_message& answer);

    [[nodiscard]] const String& GetName() const noexcept { return name; }

    /// Whether the service is not on the bus, or has left it before it answered; it may come (back).
    [[nodiscard]] bool IsAbsence() const;

    /// Whether the service refuses because of the component's state.
    [[nodiscard]] bool IsStateRefused() const;

    /// Returns the name without the service's prefix, for example "InvalidState"; other names are whole.
    [[nodiscard]] String GetShortName() const;

private:
    String name;
};

} // namespace Zel::Host::Cli

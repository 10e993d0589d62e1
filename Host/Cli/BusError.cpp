#include "Cli/BusError.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/ErrorTable.h"

#include <systemd/sd-bus.h>

#include <utility>

namespace Zel::Host::Cli
{

BusError::BusError(String name, const String& reason)
    : CommandError(ErrorTable::Find(name).exitCode, reason.empty() ? name : reason,
                   String(ErrorTable::Find(name).hint)),
      name(std::move(name))
{
}

BusError BusError::Received(sd_bus_message& answer)
{
    const sd_bus_error* const error = sd_bus_message_get_error(&answer);
    const char* const sender = sd_bus_message_get_sender(&answer);
    const String text = error->message != nullptr ? error->message : "";
    const ErrorRow& row = ErrorTable::Find(error->name);
    const bool ofBus = sender != nullptr && sender == String("org.freedesktop.DBus") && !row.name.empty();
    return {error->name, ofBus ? String(row.meaning) : text};
}

bool BusError::IsAbsence() const
{
    // The bus answers for a service that has gone with a call of its own, and systemd for one that has to
    // stay away because the device is on its way down.
    return name == NameHasNoOwner || name == "org.freedesktop.systemd1.ShuttingDown" ||
           name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
           name == "org.freedesktop.DBus.Error.NoReply";
}

bool BusError::IsStateRefused() const
{
    return name == Api::ErrorPrefix + "InvalidState";
}

String BusError::GetShortName() const
{
    const bool own = name.starts_with(Api::ErrorPrefix);
    return own ? name.substr(Api::ErrorPrefix.size()) : name;
}

} // namespace Zel::Host::Cli

#include "Cli/BusError.h"

#include "Cli/ErrorTable.h"

#include <utility>

namespace Zel::Host::Cli
{

BusError::BusError(String name, const String& reason)
    : CommandError(ErrorTable::Find(name).exitCode, reason.empty() ? name : reason,
                   String(ErrorTable::Find(name).hint)),
      name(std::move(name))
{
}

bool BusError::IsAbsence() const
{
    // The bus answers for a service that has gone with a call of its own.
    return name == NameHasNoOwner || name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
           name == "org.freedesktop.DBus.Error.NoReply";
}

bool BusError::IsStateRefused() const
{
    return name == ErrorTable::ServicePrefix + "InvalidState";
}

String BusError::GetShortName() const
{
    const bool own = name.starts_with(ErrorTable::ServicePrefix);
    return own ? name.substr(ErrorTable::ServicePrefix.size()) : name;
}

} // namespace Zel::Host::Cli

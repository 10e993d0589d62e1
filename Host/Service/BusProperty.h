#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace Zel::Host::Service
{

/// For the tables of libsystemd: a property whose value `Append` writes, from the object that the table was
/// registered with; it returns a negated errno on failure.
template <int (*Append)(sd_bus_message* reply, void* object)>
int GetBusProperty(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/, const char* /*property*/,
                   sd_bus_message* reply, void* object, sd_bus_error* /*error*/)
{
    return Append(reply, object);
}

} // namespace Zel::Host::Service

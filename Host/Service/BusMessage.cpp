#include "Service/BusMessage.h"

#include <systemd/sd-bus.h>

namespace Zel::Host::Service
{

void BusMessageDeleter::operator()(sd_bus_message* message) const noexcept
{
    sd_bus_message_unref(message);
}

} // namespace Zel::Host::Service

#include "Service/BusSlot.h"

#include <systemd/sd-bus.h>

namespace Zel::Host::Service
{

void BusSlotDeleter::operator()(sd_bus_slot* slot) const noexcept
{
    sd_bus_slot_unref(slot);
}

} // namespace Zel::Host::Service

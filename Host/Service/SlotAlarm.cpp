#include "Service/SlotAlarm.h"

#include <utility>

namespace Zel::Host::Service
{

SlotAlarm::SlotAlarm(BusConnection& connection, Handler raised) : rauc(connection), raised(std::move(raised))
{
}

void SlotAlarm::Check()
{
    rauc.GetPrimary(
        [this](const BusAnswer& primary)
        {
            if (primary.IsOk())
            {
                rauc.GetSlots([this, slot = primary.text](const std::vector<RaucSlot>& slots)
                              { Compare(slot, slots); });
            }
        });
}

void SlotAlarm::Compare(const String& primarySlot, const std::vector<RaucSlot>& slots)
{
    const RaucSlot* booted = RaucClient::FindBooted(slots);
    if (booted == nullptr || primarySlot == booted->name)
    {
        alarmed.clear();
    }
    else if (alarmed != primarySlot)
    {
        alarmed = primarySlot;
        raised(primarySlot);
    }
}

} // namespace Zel::Host::Service

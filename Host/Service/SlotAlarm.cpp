#include "Service/SlotAlarm.h"

#include <algorithm>
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
    const auto booted = std::find_if(slots.begin(), slots.end(),
                                     [](const RaucSlot& slot)
                                     {
                                         const auto state = slot.texts.find("state");
                                         return state != slot.texts.end() && state->second == "booted";
                                     });
    if (booted == slots.end() || primarySlot == booted->name)
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

#pragma once

#include "Service/RaucClient.h"

#include "Zel/String.h"

#include <functional>

namespace Zel::Host::Service
{

/// Finds out whether RAUC boots another slot next although nothing was installed. Used on the loop's thread.
class SlotAlarm
{
public:
    /// Gets the slot's name.
    using Handler = std::function<void(const String& slot)>;

    /// `raised` is called once for each slot. The connection outlives the alarm.
    SlotAlarm(BusConnection& connection, Handler raised);

    /// To be called when no installation or revert is running, and RAUC rests.
    void Check();

private:
    void Compare(const String& primarySlot, const std::vector<RaucSlot>& slots);

    RaucClient rauc;
    const Handler raised;
    String alarmed;
};

} // namespace Zel::Host::Service

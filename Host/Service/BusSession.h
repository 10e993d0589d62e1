#pragma once

#include "Service/BundleInspector.h"
#include "Service/BusApi.h"
#include "Service/BusConnection.h"
#include "Service/Logind.h"
#include "Service/RaucWatch.h"
#include "Service/SlotAlarm.h"

#include <memory>

namespace Zel::Host::Service
{

/// What lives as long as one connection to the bus. Used on the loop's thread.
struct BusSession
{
    struct Handlers
    {
        /// Posted to the loop once the bus is gone.
        EventLoop::Task lost;
        BusConnection::OwnerHandler raucOwnerChanged;
        SlotAlarm::Handler slotActivated;
    };

    /// Connects; throws `Exception` when that fails. `asksLogind` as for `BundleInspector`.
    BusSession(EventLoop& loop, bool asksLogind, Handlers handlers);

    BusConnection connection;
    RaucWatch raucWatch;
    Logind logind;
    BundleInspector inspector;
    SlotAlarm slotAlarm;
    /// Null until the components are published.
    std::unique_ptr<BusApi> api;
};

} // namespace Zel::Host::Service

#pragma once

#include <memory>

struct sd_bus_slot;

namespace Zel::Host::Service
{

struct BusSlotDeleter
{
    void operator()(sd_bus_slot* slot) const noexcept;
};

/// What is registered with libsystemd's bus, as long as this lives.
using BusSlot = std::unique_ptr<sd_bus_slot, BusSlotDeleter>;

} // namespace Zel::Host::Service

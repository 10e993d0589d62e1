#pragma once

#include <memory>

struct sd_bus_message;

namespace Zel::Host::Service
{

struct BusMessageDeleter
{
    void operator()(sd_bus_message* message) const noexcept;
};

/// One reference to a message of libsystemd's bus.
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageDeleter>;

} // namespace Zel::Host::Service

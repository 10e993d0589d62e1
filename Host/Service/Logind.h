#pragma once

#include "Service/BusConnection.h"

#include "Zel/String.h"

#include <functional>

namespace Zel::Host::Service
{

/// The login manager, as far as it restarts the device. Used on the loop's thread; the connection outlives
/// it.
class Logind
{
public:
    /// Gets what stands against a restart; empty for nothing.
    using Handler = std::function<void(const String& obstacle)>;

    explicit Logind(BusConnection& connection);

    /// Orders a restart; the handler is called with the reason of a failure, too.
    void Reboot(const Handler& handler);
    /// Asks whether a restart would be allowed.
    void CanReboot(const Handler& handler);

private:
    BusConnection& connection;
};

} // namespace Zel::Host::Service

#pragma once

#include "Support/TemporaryFolder.h"
#include "Zel/String.h"

#include <cstdio>
#include <sys/types.h>

namespace Zel::Tests::Support
{

/// A system bus of the process's own: a dbus-daemon on a socket in a temporary folder, on which everybody may
/// do everything. One for each process, since libdbus keeps the first bus address that it sees: get it before
/// the first libdbus call, on the main thread, whose end ends the daemon as well.
class PrivateBus
{
public:
    /// Returns the process's bus, started on the first call. DBUS_SYSTEM_BUS_ADDRESS names it from then on.
    static PrivateBus& OfProcess();

    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const String& GetAddress() const noexcept { return address; }

    /// Kills the daemon: every connection to it breaks. Does nothing when it does not run.
    void Kill();

    /// Starts the daemon again, on the same address. Throws `Exception` when it does not start.
    void Start();

private:
    PrivateBus();

    TemporaryFolder folder;
    String address;
    /// Of the daemon, 0 while none runs.
    pid_t process = 0;
    FILE* output = nullptr;
};

} // namespace Zel::Tests::Support

#pragma once

#include "Support/TemporaryFolder.h"

#include <array>
#include <csignal>
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
    static PrivateBus& OfProcess()
    {
        static PrivateBus bus;
        return bus;
    }

    ~PrivateBus() { Kill(); }

    /// Kills the daemon: every connection to it breaks. Does nothing when it does not run.
    void Kill()
    {
        if (process != 0)
        {
            ::kill(process, SIGKILL);
            ::pclose(output);
            process = 0;
        }
    }

    /// Starts the daemon again, on the same address. Throws `Exception` when it does not start.
    void Start()
    {
        // The number comes when connections are accepted.
        output = ::popen(("exec setpriv --pdeathsig KILL dbus-daemon --nofork --nopidfile --print-pid=1 "
                          "--config-file=" +
                          folder / "bus.conf" + " 2>>" + folder / "bus.log")
                             .c_str(),
                         "re");
        std::array<char, 32> line{};
        if (output == nullptr || std::fgets(line.data(), line.size(), output) == nullptr)
        {
            throw Exception("Failed to start dbus-daemon: " + TemporaryFolder::Read(folder / "bus.log"));
        }
        process = static_cast<pid_t>(std::strtol(line.data(), nullptr, 10));
    }

private:
    PrivateBus()
    {
        folder.Write("bus.conf", "<busconfig><type>system</type><listen>" + address +
                                     "</listen><auth>EXTERNAL</auth><policy context='default'>"
                                     "<allow user='*'/><allow own='*'/><allow send_destination='*'/>"
                                     "<allow receive_sender='*'/></policy></busconfig>");
        // The process has no other threads yet.
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        Start();
    }

    const TemporaryFolder folder;
    const String address = "unix:path=" + folder / "bus";
    /// Of the daemon, 0 while none runs.
    pid_t process = 0;
    FILE* output = nullptr;
};

} // namespace Zel::Tests::Support

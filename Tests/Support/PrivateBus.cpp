#include "Support/PrivateBus.h"

#include "Zel/Exception.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace Zel::Tests::Support
{

namespace
{

constexpr int StartLimitMilliseconds = 10'000;

/// Runs in the child between fork and exec.
[[noreturn]] void ExecDaemon(const String& configFile, int addressPipe)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const String configOption = "--config-file=" + configFile;
    const String addressOption = "--print-address=" + std::to_string(addressPipe);
    ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", configOption.c_str(),
             addressOption.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
}

/// Returns whether the daemon wrote its address: only then it accepts connections.
bool WaitForAddress(int addressPipe)
{
    pollfd readable{addressPipe, POLLIN, 0};
    std::array<char, 512> address{};
    return ::poll(&readable, 1, StartLimitMilliseconds) == 1 &&
           ::read(addressPipe, address.data(), address.size()) > 0;
}

} // namespace

PrivateBus& PrivateBus::OfProcess()
{
    static PrivateBus bus;
    return bus;
}

PrivateBus::PrivateBus() : address("unix:path=" + folder / "bus")
{
    folder.Write("bus.conf", "<busconfig><type>system</type><listen>" + address +
                                 "</listen><auth>EXTERNAL</auth><policy context='default'>"
                                 "<allow user='*'/><allow own='*'/><allow send_destination='*'/>"
                                 "<allow receive_sender='*'/></policy></busconfig>");
    // The process has no other threads yet.
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    Start();
}

PrivateBus::~PrivateBus()
{
    Kill();
}

void PrivateBus::Kill()
{
    if (daemon > 0)
    {
        ::kill(daemon, SIGKILL);
        ::waitpid(daemon, nullptr, 0);
        daemon = -1;
    }
}

void PrivateBus::Start()
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
    {
        throw Exception("Failed to make a pipe for the bus");
    }
    const String configFile = folder / "bus.conf";
    daemon = ::fork();
    if (daemon == 0)
    {
        ::close(ends[0]);
        ExecDaemon(configFile, ends[1]);
    }
    ::close(ends[1]);
    const bool isReady = daemon > 0 && WaitForAddress(ends[0]);
    ::close(ends[0]);
    if (!isReady)
    {
        Kill();
        throw Exception("Failed to start dbus-daemon");
    }
}

} // namespace Zel::Tests::Support

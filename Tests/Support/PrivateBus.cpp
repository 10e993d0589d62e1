#include "Support/PrivateBus.h"

#include "Zel/Exception.h"

#include <fcntl.h>
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

/// Runs in the child between fork and exec, where nothing may be allocated.
[[noreturn]] void ExecDaemon(const char* configOption, const char* addressOption, const char* logFile)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(::open(logFile, O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
    ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", configOption, addressOption,
             static_cast<char*>(nullptr));
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
    const String configOption = "--config-file=" + folder / "bus.conf";
    const String addressOption = "--print-address=" + std::to_string(ends[1]);
    const String logFile = folder / "bus.log";
    daemon = ::fork();
    if (daemon == 0)
    {
        ::close(ends[0]);
        ExecDaemon(configOption.c_str(), addressOption.c_str(), logFile.c_str());
    }
    ::close(ends[1]);
    const bool isReady = daemon > 0 && WaitForAddress(ends[0]);
    ::close(ends[0]);
    if (!isReady)
    {
        Kill();
        throw Exception("Failed to start dbus-daemon: " + TemporaryFolder::Read(logFile));
    }
}

} // namespace Zel::Tests::Support

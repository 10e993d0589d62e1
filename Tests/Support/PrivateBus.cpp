#include "Support/PrivateBus.h"

#include "Zel/Exception.h"

#include <array>
#include <csignal>
#include <cstdlib>

namespace Zel::Tests::Support
{

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
    if (process != 0)
    {
        ::kill(process, SIGKILL);
        ::pclose(output);
        process = 0;
    }
}

void PrivateBus::Start()
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

} // namespace Zel::Tests::Support

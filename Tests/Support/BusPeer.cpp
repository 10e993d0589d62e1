#include "Support/BusPeer.h"

#include "Support/PrivateBus.h"
#include "Zel/Exception.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

sd_bus* Connect(const String& busName)
{
    static_cast<void>(PrivateBus::OfProcess());
    sd_bus* bus = nullptr;
    if (sd_bus_open_system(&bus) < 0 || sd_bus_request_name(bus, busName.c_str(), 0) < 0)
    {
        throw Exception("The bus refused to connect or to give the name");
    }
    return bus;
}

} // namespace

BusPeer::BusPeer(const String& busName, std::recursive_mutex& lock, Handler handler)
    : busName(busName), lock(lock), handler(std::move(handler)),
      bus(Connect(busName), &sd_bus_flush_close_unref), wakeUp(::eventfd(0, EFD_CLOEXEC)),
      thread([this] { Serve(); })
{
}

BusPeer::~BusPeer()
{
    isEnding = true;
    ::eventfd_write(wakeUp, 1);
    thread.join();
    ::close(wakeUp);
    // Waits for the bus, which notices the end of a connection at some later time.
    sd_bus_release_name(bus.get(), busName.c_str());
}

void BusPeer::Serve()
{
    while (!isEnding)
    {
        std::unique_lock held(lock);
        sd_bus_message* message = nullptr;
        if (sd_bus_process(bus.get(), &message) > 0)
        {
            message != nullptr ? handler(message) : void();
            sd_bus_message_unref(message);
            continue;
        }
        const auto events = static_cast<short>(sd_bus_get_events(bus.get()));
        // What is no descriptor, as that of a broken connection, is not waited for.
        std::array<pollfd, 2> sources{pollfd{wakeUp, POLLIN, 0}, pollfd{sd_bus_get_fd(bus.get()), events, 0}};
        held.unlock();
        ::poll(sources.data(), sources.size(), -1);
    }
}

} // namespace Zel::Tests::Support

#include "Support/BusPeer.h"

#include "Support/PrivateBus.h"
#include "Zel/Exception.h"

#include <poll.h>

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
      bus(Connect(busName), &sd_bus_flush_close_unref),
      thread([this](const std::stop_token& end) { Serve(end); })
{
}

BusPeer::~BusPeer()
{
    thread = {};
    // Waits for the bus, which notices the end of a connection at some later time.
    sd_bus_release_name(bus.get(), busName.c_str());
}

void BusPeer::Serve(const std::stop_token& end)
{
    while (!end.stop_requested())
    {
        std::unique_lock held(lock);
        sd_bus_message* message = nullptr;
        if (sd_bus_process(bus.get(), &message) > 0)
        {
            message != nullptr ? handler(message) : void();
            sd_bus_message_unref(message);
            continue;
        }
        // What is no descriptor, as that of a broken connection, is not waited for.
        pollfd source{sd_bus_get_fd(bus.get()), static_cast<short>(sd_bus_get_events(bus.get())), 0};
        held.unlock();
        // In milliseconds, after which it looks whether to end.
        ::poll(&source, 1, 10);
    }
}

} // namespace Zel::Tests::Support

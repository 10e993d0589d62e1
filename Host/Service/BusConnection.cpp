#include "Service/BusConnection.h"

#include "Service/BusMessage.h"
#include "Service/SystemCall.h"

#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace Zel::Host::Service
{

using System::Core::Format;

namespace
{

/// Gives a callback to a slot that lives as long as the bus needs it.
template <typename Callback>
void KeepWithSlot(sd_bus_slot* slot, std::unique_ptr<Callback> callback)
{
    static_cast<void>(sd_bus_slot_set_destroy_callback(
        slot, [](void* kept) { const std::unique_ptr<Callback> forgotten(static_cast<Callback*>(kept)); }));
    static_cast<void>(callback.release());
    static_cast<void>(sd_bus_slot_set_floating(slot, 1));
    sd_bus_slot_unref(slot);
}

int OnAnswer(sd_bus_message* message, void* handler, sd_bus_error* /*error*/)
{
    BusAnswer answer;
    if (const sd_bus_error* error = sd_bus_message_get_error(message); error != nullptr)
    {
        answer.errorName = error->name;
        answer.text = error->message != nullptr ? error->message : "";
    }
    else if (const char* text = nullptr; sd_bus_message_read(message, "s", &text) > 0 ||
                                         sd_bus_message_read(message, "v", "s", &text) > 0)
    {
        answer.text = text;
    }
    static_cast<void>(sd_bus_message_rewind(message, 1));
    answer.message = message;
    EventLoop::Guard([&] { (*static_cast<BusConnection::AnswerHandler*>(handler))(answer); });
    return 1;
}

int OnOwnerChanged(sd_bus_message* message, void* handler, sd_bus_error* /*error*/)
{
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) >= 0)
    {
        EventLoop::Guard([&] { (*static_cast<BusConnection::OwnerHandler*>(handler))(*newOwner != '\0'); });
    }
    return 0;
}

int OnDisconnected(sd_bus_message* /*message*/, void* task, sd_bus_error* /*error*/)
{
    EventLoop::Guard(*static_cast<EventLoop::Task*>(task));
    return 0;
}

/// Builds and sends; returns a negated errno on failure.
int Send(sd_bus* bus, const BusCall& call, sd_bus_slot** slot, BusConnection::AnswerHandler* handler)
{
    sd_bus_message* created = nullptr;
    int result = sd_bus_message_new_method_call(bus, &created, call.destination.c_str(), call.path.c_str(),
                                                call.interface.c_str(), call.member.c_str());
    const BusMessage message(created);
    if (result >= 0 && call.write)
    {
        result = call.write(created);
    }
    return result < 0 ? result
                      : sd_bus_call_async(bus, slot, created, OnAnswer, handler,
                                          static_cast<std::uint64_t>(call.timeout.count()));
}

} // namespace

void BusConnection::Close::operator()(sd_bus* closed) const noexcept
{
    sd_bus_flush_close_unref(closed);
}

BusConnection::BusConnection(EventLoop& loop, EventLoop::Task lost)
    : lost([&loop, lost = std::move(lost)] { loop.Post(lost); })
{
    sd_bus* opened = nullptr;
    CheckSystemCall(sd_bus_open_system_with_description(&opened, "zel-updated"), "connect to the system bus");
    bus.reset(opened);
    CheckSystemCall(sd_bus_set_exit_on_disconnect(opened, 0), "set up the connection to the system bus");
    WatchLoss();
    CheckSystemCall(sd_bus_attach_event(opened, loop.Get(), SD_EVENT_PRIORITY_NORMAL),
                    "serve the connection to the system bus");
}

BusConnection::~BusConnection()
{
    static_cast<void>(sd_bus_detach_event(bus.get()));
}

void BusConnection::WatchLoss()
{
    CheckSystemCall(sd_bus_match_signal(bus.get(), nullptr, "org.freedesktop.DBus.Local",
                                        "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local",
                                        "Disconnected", OnDisconnected, &lost),
                    "watch the connection to the system bus");
}

void BusConnection::RequestName(const String& name)
{
    const int result = sd_bus_request_name(bus.get(), name.c_str(), 0);
    if (result == -EEXIST || result == -EALREADY)
    {
        throw Exception(Format("The bus name '{0}' has an owner already. Stop the other service, which "
                               "'busctl status {0}' shows, and start this one again.",
                               name));
    }
    CheckSystemCall(result, Format("own the bus name '{0}'", name).c_str());
}

void BusConnection::WatchName(const String& name, OwnerHandler handler)
{
    const String rule = Format("type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                               "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='{0}'",
                               name);
    auto kept = std::make_unique<OwnerHandler>(std::move(handler));
    sd_bus_slot* slot = nullptr;
    CheckSystemCall(sd_bus_add_match(bus.get(), &slot, rule.c_str(), OnOwnerChanged, kept.get()),
                    "watch a bus name");
    KeepWithSlot(slot, std::move(kept));
}

void BusConnection::Call(const BusCall& call, AnswerHandler handler)
{
    auto kept = std::make_unique<AnswerHandler>(std::move(handler));
    sd_bus_slot* slot = nullptr;
    const int result = Send(bus.get(), call, &slot, kept.get());
    if (result >= 0)
    {
        KeepWithSlot(slot, std::move(kept));
        return;
    }
    (*kept)({SD_BUS_ERROR_DISCONNECTED, std::generic_category().message(-result)});
}

sd_bus* BusConnection::Get() const noexcept
{
    return bus.get();
}

} // namespace Zel::Host::Service

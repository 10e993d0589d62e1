#include "Support/ScriptedUpdateService.h"

#include "Support/ComponentProperties.h"
#include "Zel/Exception.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

const char* const ServiceName = "zel.SoftwareUpdate1";
const char* const ManagerPath = "/zel/SoftwareUpdate1";
const char* const ComponentPrefix = "/zel/SoftwareUpdate1/component";
const char* const ComponentInterface = "zel.SoftwareUpdate1.Component";
const char* const PropertiesInterface = "org.freedesktop.DBus.Properties";

using ComponentState = ScriptedUpdateService::ComponentState;

struct MessageDeleter
{
    void operator()(sd_bus_message* message) const noexcept { sd_bus_message_unref(message); }
};

using Message = std::unique_ptr<sd_bus_message, MessageDeleter>;

int Check(int result)
{
    if (result < 0)
    {
        throw Exception("The scripted update service failed: errno " + std::to_string(-result));
    }
    return result;
}

Message NewChange(sd_bus* bus, const String& path, const std::vector<String>& names,
                  const ComponentState& state)
{
    sd_bus_message* signal = nullptr;
    Check(sd_bus_message_new_signal(bus, &signal, path.c_str(), PropertiesInterface, "PropertiesChanged"));
    Message result(signal);
    Check(sd_bus_message_append(signal, "s", ComponentInterface));
    ComponentProperties::Append(*signal, names, state);
    return result;
}

} // namespace

void ScriptedUpdateService::Deleter::operator()(sd_bus* opened) const noexcept
{
    sd_bus_flush_close_unref(opened);
}

ScriptedUpdateService::ScriptedUpdateService(const std::vector<String>& ids) : ids(ids), bus(Open())
{
    state.state = ComponentState::Idle;
    Check(sd_bus_request_name(bus.get(), ServiceName, 0));
}

ScriptedUpdateService::~ScriptedUpdateService() = default;

ScriptedUpdateService::Bus ScriptedUpdateService::Open()
{
    sd_bus* opened = nullptr;
    Check(sd_bus_open_system(&opened));
    return Bus(opened);
}

void ScriptedUpdateService::On(const String& member, Handler handler)
{
    handlers[member] = std::move(handler);
}

void ScriptedUpdateService::Reply(sd_bus_message& call)
{
    Check(sd_bus_reply_method_return(&call, ""));
}

void ScriptedUpdateService::ReplyText(sd_bus_message& call, const String& text)
{
    Check(sd_bus_reply_method_return(&call, "s", text.c_str()));
}

void ScriptedUpdateService::Refuse(sd_bus_message& call, const String& name, const String& text)
{
    const String full = "zel.SoftwareUpdate1.Error." + name;
    const sd_bus_error error{full.c_str(), text.c_str(), 0};
    Check(sd_bus_reply_method_error(&call, &error));
}

void ScriptedUpdateService::Change(const std::vector<String>& properties,
                                   const std::function<void(ComponentState& state)>& change)
{
    change(state);
    const Message signal = NewChange(bus.get(), GetPath(0), properties, state);
    Check(sd_bus_message_append(signal.get(), "as", 0));
    Check(sd_bus_send(bus.get(), signal.get(), nullptr));
}

void ScriptedUpdateService::Invalidate(const std::vector<String>& properties)
{
    const Message signal = NewChange(bus.get(), GetPath(0), {}, state);
    Check(sd_bus_message_open_container(signal.get(), 'a', "s"));
    for (const String& property : properties)
    {
        Check(sd_bus_message_append(signal.get(), "s", property.c_str()));
    }
    Check(sd_bus_message_close_container(signal.get()));
    Check(sd_bus_send(bus.get(), signal.get(), nullptr));
}

void ScriptedUpdateService::Forge(const String& receiver) const
{
    ComponentState forged = state;
    forged.state = ComponentState::Failed;
    forged.message = "forged";
    const Bus stranger = Open();
    const Message signal = NewChange(stranger.get(), GetPath(0), {"State", "Message"}, forged);
    Check(sd_bus_message_append(signal.get(), "as", 0));
    Check(sd_bus_send_to(stranger.get(), signal.get(), receiver.c_str(), nullptr));
    // The bus has passed the signal on when it answers this.
    Check(sd_bus_call_method(stranger.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetId", nullptr, nullptr, ""));
}

void ScriptedUpdateService::Vanish()
{
    bus.reset();
}

pollfd ScriptedUpdateService::GetPollDescriptor() const
{
    return {bus ? sd_bus_get_fd(bus.get()) : -1, POLLIN, 0};
}

void ScriptedUpdateService::Serve()
{
    while (bus)
    {
        sd_bus_message* received = nullptr;
        const int result = Check(sd_bus_process(bus.get(), &received));
        const Message message(received);
        if (message && sd_bus_message_is_method_call(message.get(), nullptr, nullptr) > 0)
        {
            Answer(*message);
        }
        if (result == 0)
        {
            return;
        }
    }
}

void ScriptedUpdateService::Answer(sd_bus_message& call)
{
    if (sd_bus_message_is_method_call(&call, PropertiesInterface, "GetAll") > 0)
    {
        AnswerGetAll(call);
        return;
    }
    const String member = sd_bus_message_get_member(&call);
    calls.push_back(member);
    if (const auto handler = handlers.find(member); handler != handlers.end())
    {
        handler->second(call);
        return;
    }
    Check(
        sd_bus_reply_method_errorf(&call, SD_BUS_ERROR_UNKNOWN_METHOD, "unknown method %s", member.c_str()));
}

void ScriptedUpdateService::AnswerGetAll(sd_bus_message& call)
{
    sd_bus_message* created = nullptr;
    Check(sd_bus_message_new_method_return(&call, &created));
    const Message reply(created);
    const String path = sd_bus_message_get_path(&call);
    if (path == ManagerPath)
    {
        Check(sd_bus_message_open_container(created, 'a', "{sv}"));
        Check(sd_bus_message_append(created, "{sv}", "Version", "s", "0.1.0"));
        Check(sd_bus_message_open_container(created, 'e', "sv"));
        Check(sd_bus_message_append(created, "s", "Components"));
        Check(sd_bus_message_open_container(created, 'v', "ao"));
        Check(sd_bus_message_open_container(created, 'a', "o"));
        for (std::size_t index = 0; index < ids.size(); ++index)
        {
            Check(sd_bus_message_append(created, "o", GetPath(index).c_str()));
        }
        for (int level = 0; level < 4; ++level)
        {
            Check(sd_bus_message_close_container(created));
        }
    }
    else
    {
        for (std::size_t index = 0; index < ids.size(); ++index)
        {
            state.id = path == GetPath(index) ? ids[index] : state.id;
        }
        ComponentProperties::Append(*created, ComponentProperties::GetNames(), state);
    }
    Check(sd_bus_send(bus.get(), created, nullptr));
}

String ScriptedUpdateService::GetPath(std::size_t index) const
{
    char* encoded = nullptr;
    Check(sd_bus_path_encode(ComponentPrefix, ids.at(index).c_str(), &encoded));
    const std::unique_ptr<char, decltype(&std::free)> path(encoded, &std::free);
    return path.get();
}

} // namespace Zel::Tests::Support

#include "Support/ScriptedUpdateService.h"

#include "Support/PrivateBus.h"

#include <dbus/dbus.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

using Json = ScriptedUpdateService::Json;

const String ServiceName = "zel.SoftwareUpdate1";
const String ManagerPath = "/zel/SoftwareUpdate1";

/// Reads them from the elements, and those of dictionaries from the comments: "size" (t, bytes).
std::map<String, std::vector<String>> ReadTypes()
{
    const String text = TemporaryFolder::Read(ZEL_BUS_DESCRIPTION);
    const std::regex pattern(R"re(<(\w+) name="(\w+)"(?: type="([^"]+)")?(?: direction="(\w+)")?)re"
                             R"re(|"(\w+)" \((a\(\w+\)|\w)[,:)])re");
    std::map<String, std::vector<String>> types;
    String method;
    for (std::sregex_iterator found(text.begin(), text.end(), pattern), end; found != end; ++found)
    {
        const std::smatch& match = *found;
        method = match[1] == "method" ? match[2].str() : method;
        const String name =
            match[1] == "arg" ? method + " " + match[4].str() : match[2].str() + match[5].str();
        types[name].push_back(match[3].str() + match[6].str());
    }
    return types;
}

String GetPath(const String& id)
{
    char* encoded = nullptr;
    sd_bus_path_encode((ManagerPath + "/component").c_str(), id.c_str(), &encoded);
    const std::unique_ptr<char, decltype(&std::free)> path(encoded, &std::free);
    return path.get();
}

String ReadFile(const BusMessage& call)
{
    int descriptor = -1;
    dbus_message_get_args(call.Get(), nullptr, DBUS_TYPE_UNIX_FD, &descriptor, DBUS_TYPE_INVALID);
    String content(100, '\0');
    const ssize_t count = pread(descriptor, content.data(), content.size(), 0);
    content.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    close(descriptor);
    return content;
}

BusMessage NewDaemonCall(const String& member)
{
    return BusMessage::MethodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, member)
        .With([](BusWriter& writer) { writer.Text(ServiceName); });
}

} // namespace

ScriptedUpdateService::ScriptedUpdateService()
    : types(ReadTypes()), peer(PrivateBus::OfProcess().GetAddress(), ServiceName,
                               [this](const BusMessage& message) { OnMessage(message); })
{
}

void ScriptedUpdateService::On(const String& member, const Script& script)
{
    const std::lock_guard lock(mutex);
    scripts[member] = script;
}

std::vector<String> ScriptedUpdateService::TakeCalls()
{
    const std::lock_guard lock(mutex);
    return std::exchange(calls, {});
}

void ScriptedUpdateService::Change(const Json& changes, bool valueless)
{
    const std::lock_guard lock(mutex);
    properties.update(changes);
    Json names = Json::array();
    for (const auto& [name, value] : changes.items())
    {
        names.push_back(name);
    }
    peer.Send(valueless ? NewChange(Json::object(), names) : NewChange(changes, Json::array()));
}

void ScriptedUpdateService::Forge(const Json& forged)
{
    const std::lock_guard lock(mutex);
    const BusMessage signal = NewChange(forged, Json::array());
    dbus_message_set_destination(signal.Get(), lastCaller.c_str());
    // Giving its name up at the end it waits until the bus has passed the signal on.
    BusPeer(PrivateBus::OfProcess().GetAddress(), "zel.Stranger", [](const BusMessage& /*message*/) {})
        .Send(signal);
}

void ScriptedUpdateService::Vanish()
{
    const std::lock_guard lock(mutex);
    present = false;
    peer.Send(NewDaemonCall("ReleaseName"));
}

void ScriptedUpdateService::Appear()
{
    const std::lock_guard lock(mutex);
    present = true;
    const BusMessage call = NewDaemonCall("RequestName");
    const dbus_uint32_t flags = 0;
    dbus_message_append_args(call.Get(), DBUS_TYPE_UINT32, &flags, DBUS_TYPE_INVALID);
    peer.Send(call);
}

void ScriptedUpdateService::OnMessage(const BusMessage& message)
{
    const std::lock_guard lock(mutex);
    if (present && dbus_message_get_type(message.Get()) == DBUS_MESSAGE_TYPE_METHOD_CALL)
    {
        lastCaller = dbus_message_get_sender(message.Get());
        message.GetMember() == "GetAll" ? AnswerGetAll(message) : Carry(message);
    }
}

void ScriptedUpdateService::Carry(const BusMessage& call)
{
    std::vector<String> words = call.GetArguments();
    if (call.GetSignature().starts_with("h"))
    {
        words.front() = ReadFile(call);
    }
    words.insert(words.begin(), call.GetMember());
    calls.push_back(Join(words, " "));
    const auto inputs = types.find(call.GetMember() + " in");
    const bool fits = call.GetSignature() == (inputs != types.end() ? Join(inputs->second, "") : "");
    const auto script = scripts.find(call.GetMember());
    const bool known = fits && script != scripts.end();
    Follow(known ? script->second : Script{Refuses(DBUS_ERROR_UNKNOWN_METHOD, "unknown method")}, call);
}

void ScriptedUpdateService::AnswerGetAll(const BusMessage& call)
{
    const String path = dbus_message_get_path(call.Get());
    Json values = {{"Version", "0.1.0"}, {"Modules", {"RaucUpdater"}}, {"Components", Json::array()}};
    for (const String& id : ids)
    {
        values["Components"].push_back(GetPath(id));
        if (path == GetPath(id))
        {
            values = properties;
            values["Id"] = id;
            break;
        }
    }
    peer.Send(call.Return().With([&](BusWriter& writer) { Write(writer, "a{sv}", values); }));
    Follow(path == ManagerPath ? Script() : std::exchange(scripts["GetAll"], {}), call);
}

void ScriptedUpdateService::Follow(const Script& script, const BusMessage& call)
{
    for (const Json& step : script)
    {
        const String kind = step.begin().key();
        const Json& value = step.begin().value();
        const auto writeOutputs = [&](BusWriter& writer)
        {
            for (std::size_t index = 0; index < value.size(); ++index)
            {
                Write(writer, GetType(call.GetMember() + " out", index), value.at(index));
            }
        };
        if (kind == "answer")
        {
            peer.Send(call.Return().With(writeOutputs));
        }
        else if (kind == "refuse")
        {
            const String name = value.at(0);
            const String prefix = name.find('.') == String::npos ? ServiceName + ".Error." : "";
            peer.Send(call.Error(prefix + name, value.at(1)));
        }
        else if (kind == "change")
        {
            Change(value);
        }
        else if (kind == "then")
        {
            scripts["GetAll"] = value.get<Script>();
        }
        else if (kind == "appear")
        {
            Change(value);
            Appear();
        }
        else
        {
            Vanish();
        }
    }
}

String ScriptedUpdateService::GetType(const String& name, std::size_t index) const
{
    const auto type = types.find(name);
    return type != types.end() ? type->second.at(index) : "s";
}

void ScriptedUpdateService::Write(BusWriter& writer, const String& signature, const Json& value) const
{
    const String element = signature.substr(1);
    const auto write = [&](BusWriter& content)
    {
        for (const auto& [key, member] : value.items())
        {
            const String type = value.is_object()          ? GetType(key)
                                : signature.front() == 'a' ? element
                                                           : element.substr(std::stoul(key), 1);
            const auto writeMember = [&, &held = member](BusWriter& inner) { Write(inner, type, held); };
            value.is_object() ? static_cast<void>(content.Entry(key, type, writeMember))
                              : writeMember(content);
        }
    };
    switch (signature.front())
    {
    case 'a':
        writer.Array(element, write);
        break;
    case '(':
        writer.Struct(write);
        break;
    case 'b':
        writer.Boolean(value);
        break;
    case 'i':
        writer.Int32(value);
        break;
    case 't':
        writer.Uint64(value);
        break;
    case 'o':
        writer.ObjectPath(value);
        break;
    default:
        writer.Text(value);
        break;
    }
}

BusMessage ScriptedUpdateService::NewChange(const Json& changes, const Json& names) const
{
    return BusMessage::Signal(GetPath(ids.front()), DBUS_INTERFACE_PROPERTIES, "PropertiesChanged")
        .With(
            [&](BusWriter& writer)
            {
                writer.Text(ServiceName + ".Component");
                Write(writer, "a{sv}", changes);
                Write(writer, "as", names);
            });
}

} // namespace Zel::Tests::Support

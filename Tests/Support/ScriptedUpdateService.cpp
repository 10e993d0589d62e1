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

ScriptedUpdateService::Step ScriptedUpdateService::Answers(const std::vector<Json>& outputs)
{
    return [=](ScriptedUpdateService& service, const BusMessage& call)
    {
        BusMessage answer = call.Return();
        for (std::size_t index = 0; index < outputs.size(); ++index)
        {
            const String type = service.GetType(call.GetMember() + " out", index);
            answer =
                std::move(answer).With([&](auto& writer) { service.Write(writer, type, outputs[index]); });
        }
        service.peer.Send(answer);
    };
}

ScriptedUpdateService::Step ScriptedUpdateService::Refuses(const String& name, const String& text)
{
    const String prefix = name.find('.') == String::npos ? ServiceName + ".Error." : "";
    return [=](auto& service, const BusMessage& call) { service.peer.Send(call.Error(prefix + name, text)); };
}

void ScriptedUpdateService::Appear(const Json& changes)
{
    Change(changes);
    SetPresent(true);
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

void ScriptedUpdateService::SetPresent(bool value)
{
    const std::lock_guard lock(mutex);
    present = value;
    const char* const member = present ? "RequestName" : "ReleaseName";
    const auto write = [&](BusWriter& writer)
    { present ? writer.Text(ServiceName).Uint32(0) : writer.Text(ServiceName); };
    peer.Send(
        BusMessage::MethodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, member).With(write));
}

void ScriptedUpdateService::OnMessage(const BusMessage& message)
{
    const std::lock_guard lock(mutex);
    if (!present || dbus_message_get_type(message.Get()) != DBUS_MESSAGE_TYPE_METHOD_CALL)
    {
        return;
    }
    lastCaller = dbus_message_get_sender(message.Get());
    Script script;
    if (message.GetMember() == "GetAll")
    {
        const String path = dbus_message_get_path(message.Get());
        peer.Send(message.Return().With([&](auto& writer) { Write(writer, "a{sv}", GetProperties(path)); }));
        script = path == ManagerPath ? Script() : std::exchange(scripts["GetAll"], {});
    }
    else
    {
        script = Record(message);
    }
    for (const Step& step : script)
    {
        step(*this, message);
    }
}

ScriptedUpdateService::Script ScriptedUpdateService::Record(const BusMessage& call)
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
    return known ? script->second : Script{Refuses(DBUS_ERROR_UNKNOWN_METHOD, "unknown method")};
}

ScriptedUpdateService::Json ScriptedUpdateService::GetProperties(const String& path) const
{
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
    return values;
}

String ScriptedUpdateService::GetType(const String& name, std::size_t index) const
{
    const auto type = types.find(name);
    return type != types.end() ? type->second.at(index) : "s";
}

void ScriptedUpdateService::Write(BusWriter& writer, const String& signature, const Json& value) const
{
    const char type = signature.front();
    const String element = signature.substr(1);
    const auto writeMembers = [&](BusWriter& content)
    {
        for (const auto& [key, member] : value.items())
        {
            const String inner = value.is_object() ? GetType(key)
                                 : type == 'a'     ? element
                                                   : element.substr(std::stoul(key), 1);
            const auto write = [&, &held = member](BusWriter& entry) { Write(entry, inner, held); };
            value.is_object() ? static_cast<void>(content.Entry(key, inner, write)) : write(content);
        }
    };
    static_cast<void>(type == 'a'   ? writer.Array(element, writeMembers)
                      : type == '(' ? writer.Struct(writeMembers)
                      : type == 'b' ? writer.Boolean(value)
                      : type == 'i' ? writer.Int32(value)
                      : type == 't' ? writer.Uint64(value)
                      : type == 'o' ? writer.ObjectPath(value)
                                    : writer.Text(value));
}

BusMessage ScriptedUpdateService::NewChange(const Json& changes, const Json& names) const
{
    const auto write = [&](BusWriter& writer)
    {
        writer.Text(ServiceName + ".Component");
        Write(writer, "a{sv}", changes);
        Write(writer, "as", names);
    };
    return BusMessage::Signal(GetPath(ids.front()), DBUS_INTERFACE_PROPERTIES, "PropertiesChanged")
        .With(write);
}

} // namespace Zel::Tests::Support

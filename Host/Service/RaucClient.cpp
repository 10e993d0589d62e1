#include "Service/RaucClient.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <utility>

namespace Zel::Host::Service
{

namespace
{

const String Path = "/";
const String Interface = "de.pengutronix.rauc.Installer";

std::optional<RaucBundle> ReadBundle(sd_bus_message* message)
{
    const char* compatible = nullptr;
    const char* version = nullptr;
    if (sd_bus_message_read(message, "ss", &compatible, &version) <= 0)
    {
        return std::nullopt;
    }
    return RaucBundle{version, compatible};
}

/// Reads the entries of an a{sv} that are texts, and skips the others. False where it is no a{sv}.
bool ReadTexts(sd_bus_message* message, std::map<String, String>& texts)
{
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0)
    {
        return false;
    }
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0)
    {
        const char* key = nullptr;
        const char* text = nullptr;
        if (sd_bus_message_read(message, "s", &key) <= 0)
        {
            return false;
        }
        if (sd_bus_message_read(message, "v", "s", &text) > 0)
        {
            texts[key] = text;
        }
        else if (sd_bus_message_skip(message, "v") < 0)
        {
            return false;
        }
        static_cast<void>(sd_bus_message_exit_container(message));
    }
    return sd_bus_message_exit_container(message) >= 0;
}

std::vector<RaucSlot> ReadSlots(sd_bus_message* message)
{
    std::vector<RaucSlot> slots;
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "(sa{sv})") < 0)
    {
        return slots;
    }
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_STRUCT, "sa{sv}") > 0)
    {
        const char* name = nullptr;
        RaucSlot slot;
        if (sd_bus_message_read(message, "s", &name) <= 0 || !ReadTexts(message, slot.texts))
        {
            return slots;
        }
        slot.name = name;
        slots.push_back(std::move(slot));
        static_cast<void>(sd_bus_message_exit_container(message));
    }
    return slots;
}

} // namespace

String RaucSlot::GetText(const String& key) const
{
    const auto found = texts.find(key);
    return found == texts.end() ? String() : found->second;
}

RaucClient::RaucClient(BusConnection& connection) : connection(connection) {}

void RaucClient::GetPrimary(AnswerHandler handler)
{
    connection.Call({BusName, Path, Interface, "GetPrimary", AnswerTime, {}}, std::move(handler));
}

void RaucClient::GetText(const String& property, AnswerHandler handler)
{
    const auto write = [property](sd_bus_message* call)
    { return sd_bus_message_append(call, "ss", Interface.c_str(), property.c_str()); };
    connection.Call({BusName, Path, "org.freedesktop.DBus.Properties", "Get", AnswerTime, write},
                    std::move(handler));
}

void RaucClient::GetBundle(const String& path, BundleHandler handler)
{
    const auto write = [path](sd_bus_message* call)
    { return sd_bus_message_append(call, "s", path.c_str()); };
    connection.Call({BusName, Path, Interface, "Info", BundleTime, write},
                    [handler = std::move(handler)](const BusAnswer& answer)
                    { handler(answer.IsOk() ? ReadBundle(answer.message) : std::nullopt, answer); });
}

void RaucClient::GetSlots(SlotsHandler handler)
{
    connection.Call({BusName, Path, Interface, "GetSlotStatus", AnswerTime, {}},
                    [handler = std::move(handler)](const BusAnswer& answer)
                    { handler(answer.IsOk() ? ReadSlots(answer.message) : std::vector<RaucSlot>()); });
}

const RaucSlot* RaucClient::FindBooted(const std::vector<RaucSlot>& slots)
{
    const auto found = std::find_if(slots.begin(), slots.end(),
                                    [](const RaucSlot& slot) { return slot.GetText("state") == "booted"; });
    return found == slots.end() ? nullptr : &*found;
}

} // namespace Zel::Host::Service

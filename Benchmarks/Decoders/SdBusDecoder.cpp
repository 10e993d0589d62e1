#include "Decoders/Decoders.h"

#include "Zel/Exception.h"

#include <systemd/sd-bus.h>

#include <memory>

namespace Zel::Benchmarks
{

namespace
{

void Check(int result, const char* operation)
{
    if (result < 0)
    {
        throw Exception(String("sd-bus failed to ") + operation);
    }
}

void AppendValue(sd_bus_message* message, const String& value)
{
    Check(sd_bus_message_append(message, "v", "s", value.c_str()), "append a text");
}

void AppendValue(sd_bus_message* message, std::uint32_t value)
{
    Check(sd_bus_message_append(message, "v", "u", value), "append a count");
}

void AppendValue(sd_bus_message* message, std::uint64_t value)
{
    Check(sd_bus_message_append(message, "v", "t", value), "append a size");
}

void AppendSlot(sd_bus_message* message, const String& name, const SlotRecord& slot)
{
    Check(sd_bus_message_open_container(message, 'r', "sa{sv}"), "open a slot");
    Check(sd_bus_message_append(message, "s", name.c_str()), "append a name");
    Check(sd_bus_message_open_container(message, 'a', "{sv}"), "open a dictionary");
    for (const auto& key : SlotRecordKey::All)
    {
        Check(sd_bus_message_open_container(message, 'e', "sv"), "open an entry");
        Check(sd_bus_message_append(message, "s", key.name), "append a key");
        std::visit([&](auto member) { AppendValue(message, slot.*member); }, key.member);
        Check(sd_bus_message_close_container(message), "close an entry");
    }
    Check(sd_bus_message_close_container(message), "close a dictionary");
    Check(sd_bus_message_close_container(message), "close a slot");
}

[[nodiscard]] sd_bus_message* MakeMessage(sd_bus* bus, const SlotRecords& slots)
{
    sd_bus_message* message = nullptr;
    Check(sd_bus_message_new_method_call(bus, &message, "bench.Mark", "/", "bench.Mark", "Slots"),
          "make a message");
    Check(sd_bus_message_open_container(message, 'a', "(sa{sv})"), "open the slots");
    for (const auto& [name, slot] : slots)
    {
        AppendSlot(message, name, slot);
    }
    Check(sd_bus_message_close_container(message), "close the slots");
    Check(sd_bus_message_seal(message, 1, 0), "seal a message");
    return message;
}

template <typename Value>
void ReadValue(sd_bus_message* message, char type, std::string_view key, SlotRecord& slot)
{
    Value value{};
    sd_bus_message_read_basic(message, type, &value);
    slot.Set(key, value);
}

void ReadEntry(sd_bus_message* message, SlotRecord& slot)
{
    const char* key = nullptr;
    sd_bus_message_read_basic(message, 's', &key);
    const char* contents = nullptr;
    char type = 0;
    sd_bus_message_peek_type(message, &type, &contents);
    sd_bus_message_enter_container(message, 'v', contents);
    switch (contents[0])
    {
    case 's':
        ReadValue<const char*>(message, 's', key, slot);
        break;
    case 'u':
        ReadValue<std::uint32_t>(message, 'u', key, slot);
        break;
    case 't':
        ReadValue<std::uint64_t>(message, 't', key, slot);
        break;
    default:
        break;
    }
    sd_bus_message_exit_container(message);
}

[[nodiscard]] SlotRecords Read(sd_bus_message* message)
{
    SlotRecords records;
    sd_bus_message_rewind(message, 1);
    sd_bus_message_enter_container(message, 'a', "(sa{sv})");
    while (sd_bus_message_enter_container(message, 'r', "sa{sv}") > 0)
    {
        const char* name = nullptr;
        sd_bus_message_read_basic(message, 's', &name);
        SlotRecord slot;
        sd_bus_message_enter_container(message, 'a', "{sv}");
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
        {
            ReadEntry(message, slot);
            sd_bus_message_exit_container(message);
        }
        sd_bus_message_exit_container(message);
        sd_bus_message_exit_container(message);
        records.emplace(name, std::move(slot));
    }
    sd_bus_message_exit_container(message);
    return records;
}

} // namespace

Decoder MakeSdBusDecoder(const SlotRecords& slots)
{
    sd_bus* opened = nullptr;
    Check(sd_bus_open_system(&opened), "open the bus");
    const std::shared_ptr<sd_bus> bus(opened, &sd_bus_flush_close_unref);
    const std::shared_ptr<sd_bus_message> message(MakeMessage(opened, slots), &sd_bus_message_unref);
    return [bus, message] { return Read(message.get()); };
}

} // namespace Zel::Benchmarks

#include "Decoders/Decoders.h"

#include "Support/BusMessage.h"

#include <dbus/dbus.h>

namespace Zel::Benchmarks
{

using Tests::Support::BusMessage;
using Tests::Support::BusWriter;

namespace
{

void WriteValue(BusWriter& writer, const String& value)
{
    writer.Text(value);
}

void WriteValue(BusWriter& writer, std::uint32_t value)
{
    writer.Uint32(value);
}

void WriteValue(BusWriter& writer, std::uint64_t value)
{
    writer.Uint64(value);
}

const char* SignatureOf(const String& /*value*/)
{
    return DBUS_TYPE_STRING_AS_STRING;
}

const char* SignatureOf(std::uint32_t /*value*/)
{
    return DBUS_TYPE_UINT32_AS_STRING;
}

const char* SignatureOf(std::uint64_t /*value*/)
{
    return DBUS_TYPE_UINT64_AS_STRING;
}

void WriteEntries(BusWriter& writer, const SlotRecord& slot)
{
    for (const auto& key : SlotRecordKey::All)
    {
        std::visit(
            [&](auto member)
            {
                const auto& value = slot.*member;
                writer.Entry(key.name, SignatureOf(value),
                             [&value](BusWriter& content) { WriteValue(content, value); });
            },
            key.member);
    }
}

void WriteSlots(BusWriter& writer, const SlotRecords& slots)
{
    for (const auto& [name, slot] : slots)
    {
        writer.Struct(
            [&name, &slot](BusWriter& members)
            {
                members.Text(name);
                members.Array("{sv}", [&slot](BusWriter& entries) { WriteEntries(entries, slot); });
            });
    }
}

template <typename Value>
[[nodiscard]] Value Take(DBusMessageIter& iter)
{
    Value value{};
    dbus_message_iter_get_basic(&iter, &value);
    dbus_message_iter_next(&iter);
    return value;
}

[[nodiscard]] DBusMessageIter Enter(DBusMessageIter& container)
{
    DBusMessageIter content;
    dbus_message_iter_recurse(&container, &content);
    return content;
}

void ReadEntry(DBusMessageIter& entries, SlotRecord& slot)
{
    DBusMessageIter entry = Enter(entries);
    const auto* const key = Take<const char*>(entry);
    DBusMessageIter value = Enter(entry);
    switch (dbus_message_iter_get_arg_type(&value))
    {
    case DBUS_TYPE_STRING:
        slot.Set(key, Take<const char*>(value));
        break;
    case DBUS_TYPE_UINT32:
        slot.Set(key, Take<std::uint32_t>(value));
        break;
    case DBUS_TYPE_UINT64:
        slot.Set(key, Take<std::uint64_t>(value));
        break;
    default:
        break;
    }
}

[[nodiscard]] SlotRecords Read(DBusMessage* message)
{
    SlotRecords records;
    DBusMessageIter arguments;
    dbus_message_iter_init(message, &arguments);
    DBusMessageIter slots = Enter(arguments);
    while (dbus_message_iter_get_arg_type(&slots) == DBUS_TYPE_STRUCT)
    {
        DBusMessageIter members = Enter(slots);
        const auto* const name = Take<const char*>(members);
        SlotRecord slot;
        DBusMessageIter entries = Enter(members);
        while (dbus_message_iter_get_arg_type(&entries) == DBUS_TYPE_DICT_ENTRY)
        {
            ReadEntry(entries, slot);
            dbus_message_iter_next(&entries);
        }
        records.emplace(name, std::move(slot));
        dbus_message_iter_next(&slots);
    }
    return records;
}

} // namespace

DBusMessage* MakeLibdbusReply(const SlotRecords& slots)
{
    return BusMessage::LooseReturn()
        .With([&slots](BusWriter& arguments)
              { arguments.Array("(sa{sv})", [&slots](BusWriter& writer) { WriteSlots(writer, slots); }); })
        .Share();
}

Decoder MakeLibdbusDecoder(const SlotRecords& slots)
{
    const std::shared_ptr<DBusMessage> message(MakeLibdbusReply(slots), &dbus_message_unref);
    return [message] { return Read(message.get()); };
}

} // namespace Zel::Benchmarks

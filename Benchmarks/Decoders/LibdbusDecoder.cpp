#include "Decoders/Decoders.h"

#include <dbus/dbus.h>

#include <memory>

namespace Zel::Benchmarks
{

namespace
{

void WriteValue(DBusMessageIter& to, const String& value)
{
    const char* const text = value.c_str();
    dbus_message_iter_append_basic(&to, DBUS_TYPE_STRING, &text);
}

void WriteValue(DBusMessageIter& to, std::uint32_t value)
{
    dbus_message_iter_append_basic(&to, DBUS_TYPE_UINT32, &value);
}

void WriteValue(DBusMessageIter& to, std::uint64_t value)
{
    dbus_message_iter_append_basic(&to, DBUS_TYPE_UINT64, &value);
}

template <typename Write>
void WriteContainer(DBusMessageIter& to, int type, const char* signature, const Write& writeContent)
{
    DBusMessageIter content;
    dbus_message_iter_open_container(&to, type, signature, &content);
    writeContent(content);
    dbus_message_iter_close_container(&to, &content);
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

template <typename Content>
void WriteEntry(DBusMessageIter& to, const String& key, const Content& value)
{
    WriteContainer(to, DBUS_TYPE_DICT_ENTRY, nullptr,
                   [&](DBusMessageIter& entry)
                   {
                       WriteValue(entry, key);
                       WriteContainer(entry, DBUS_TYPE_VARIANT, SignatureOf(value),
                                      [&](DBusMessageIter& content) { WriteValue(content, value); });
                   });
}

void WriteSlot(DBusMessageIter& to, const String& name, const SlotRecord& slot)
{
    const auto writeEntries = [&](DBusMessageIter& entries)
    {
        for (const auto& key : SlotRecordKey::All)
        {
            std::visit([&](auto member) { WriteEntry(entries, key.name, slot.*member); }, key.member);
        }
    };
    WriteContainer(to, DBUS_TYPE_STRUCT, nullptr,
                   [&](DBusMessageIter& members)
                   {
                       WriteValue(members, name);
                       WriteContainer(members, DBUS_TYPE_ARRAY, "{sv}", writeEntries);
                   });
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
    DBusMessage* const reply = dbus_message_new(DBUS_MESSAGE_TYPE_METHOD_RETURN);
    DBusMessageIter arguments;
    dbus_message_iter_init_append(reply, &arguments);
    WriteContainer(arguments, DBUS_TYPE_ARRAY, "(sa{sv})",
                   [&](DBusMessageIter& to)
                   {
                       for (const auto& [name, slot] : slots)
                       {
                           WriteSlot(to, name, slot);
                       }
                   });
    return reply;
}

Decoder MakeLibdbusDecoder(const SlotRecords& slots)
{
    const std::shared_ptr<DBusMessage> message(MakeLibdbusReply(slots), &dbus_message_unref);
    return [message] { return Read(message.get()); };
}

} // namespace Zel::Benchmarks

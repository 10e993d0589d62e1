#include "Decoders/Decoders.h"

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <vector>

namespace Zel::Benchmarks
{

namespace
{

using Entries = std::map<std::string, sdbus::Variant>;
using Slots = std::vector<sdbus::Struct<std::string, Entries>>;

[[nodiscard]] Entries MakeEntries(const SlotRecord& slot)
{
    Entries entries;
    for (const auto& key : SlotRecordKey::All)
    {
        std::visit([&](auto member) { entries.emplace(key.name, sdbus::Variant(slot.*member)); }, key.member);
    }
    return entries;
}

[[nodiscard]] SlotRecord ReadEntries(const Entries& entries)
{
    SlotRecord slot;
    for (const auto& [key, value] : entries)
    {
        if (value.containsValueOfType<std::string>())
        {
            slot.Set(key, value.get<std::string>().c_str());
        }
        else if (value.containsValueOfType<std::uint32_t>())
        {
            slot.Set(key, value.get<std::uint32_t>());
        }
        else if (value.containsValueOfType<std::uint64_t>())
        {
            slot.Set(key, value.get<std::uint64_t>());
        }
    }
    return slot;
}

[[nodiscard]] SlotRecords Read(sdbus::Message& message)
{
    Slots slots;
    message.rewind(true);
    message >> slots;
    SlotRecords records;
    for (const auto& slot : slots)
    {
        records.emplace(std::get<0>(slot), ReadEntries(std::get<1>(slot)));
    }
    return records;
}

} // namespace

Decoder MakeSdBusCppDecoder(const SlotRecords& slots)
{
    Slots content;
    for (const auto& [name, slot] : slots)
    {
        content.emplace_back(name, MakeEntries(slot));
    }
    const std::shared_ptr<sdbus::IConnection> connection(sdbus::createSystemBusConnection());
    const std::shared_ptr<sdbus::IProxy> proxy(sdbus::createProxy(*connection, "bench.Mark", "/"));
    const auto message = std::make_shared<sdbus::MethodCall>(proxy->createMethodCall("bench.Mark", "Slots"));
    *message << content;
    message->seal();
    return [connection, proxy, message] { return Read(*message); };
}

} // namespace Zel::Benchmarks

#include "Decoders/SlotRecord.h"

#include <algorithm>

namespace Zel::Benchmarks
{

constinit const std::array<SlotRecordKey, 18> SlotRecordKey::All = {{
    {"class", &SlotRecord::slotClass},
    {"device", &SlotRecord::device},
    {"type", &SlotRecord::type},
    {"bootname", &SlotRecord::bootname},
    {"state", &SlotRecord::state},
    {"mountpoint", &SlotRecord::mountpoint},
    {"boot-status", &SlotRecord::bootStatus},
    {"bundle.compatible", &SlotRecord::bundleCompatible},
    {"bundle.version", &SlotRecord::bundleVersion},
    {"bundle.description", &SlotRecord::bundleDescription},
    {"bundle.build", &SlotRecord::bundleBuild},
    {"status", &SlotRecord::status},
    {"sha256", &SlotRecord::sha256},
    {"size", &SlotRecord::size},
    {"installed.timestamp", &SlotRecord::installedTimestamp},
    {"installed.count", &SlotRecord::installedCount},
    {"activated.timestamp", &SlotRecord::activatedTimestamp},
    {"activated.count", &SlotRecord::activatedCount},
}};

namespace
{

template <typename Member, typename Value>
void Store(SlotRecord& record, std::string_view key, const Value& value)
{
    const auto* const found =
        std::ranges::find_if(SlotRecordKey::All, [key](const auto& known) { return known.name == key; });
    const auto* const member =
        found != SlotRecordKey::All.end() ? std::get_if<Member>(&found->member) : nullptr;
    if (member != nullptr)
    {
        record.** member = value;
    }
}

} // namespace

void SlotRecord::Set(std::string_view key, const char* text)
{
    Store<String SlotRecord::*>(*this, key, text);
}

void SlotRecord::Set(std::string_view key, std::uint32_t count)
{
    Store<std::uint32_t SlotRecord::*>(*this, key, count);
}

void SlotRecord::Set(std::string_view key, std::uint64_t bytes)
{
    Store<std::uint64_t SlotRecord::*>(*this, key, bytes);
}

SlotRecords MakeSlots(std::size_t count)
{
    SlotRecords slots;
    for (std::size_t index = 0; index < count; ++index)
    {
        const String number = std::to_string(index);
        SlotRecord& slot = slots["rootfs." + number];
        slot.size = 419'430'400 + index;
        slot.installedCount = 7;
        slot.activatedCount = 6;
        slot.installedTimestamp = "2026-11-21T06:59:33Z";
        slot.activatedTimestamp = "2026-11-21T06:59:34Z";
        slot.sha256 = "5feceb66ffc86f38d952786c6d696c79c2dbc239dd4e91b46729d73a27fb57e9";
        slot.bundleBuild = "20261121065933";
        slot.bundleCompatible = "Controller";
        slot.bundleVersion = "2.0.0." + number;
        slot.bundleDescription = "Firmware of the controller";
        slot.type = "ext4";
        slot.bootname = "system" + number;
        slot.slotClass = "rootfs";
        slot.bootStatus = "good";
        slot.mountpoint = "/";
        slot.state = "booted";
        slot.status = "ok";
        slot.device = "/dev/disk/by-partlabel/rootfs" + number;
    }
    return slots;
}

} // namespace Zel::Benchmarks

#pragma once

#include "Zel/String.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <variant>

namespace Zel::Benchmarks
{

struct SlotRecordKey;

/// What a reply of "GetSlotStatus" says of one slot, as plain members: what the peers read into. Times stay
/// texts.
struct SlotRecord
{
    std::uint64_t size = 0;
    std::uint32_t installedCount = 0;
    std::uint32_t activatedCount = 0;
    String installedTimestamp;
    String activatedTimestamp;
    String sha256;
    String bundleBuild;
    String bundleCompatible;
    String bundleVersion;
    String bundleDescription;
    String type;
    String bootname;
    String slotClass;
    String bootStatus;
    String mountpoint;
    String state;
    String status;
    String device;

    /// Stores the value of one key; a key that nobody knows is left out.
    void Set(std::string_view key, const char* text);
    void Set(std::string_view key, std::uint32_t count);
    void Set(std::string_view key, std::uint64_t bytes);

    friend bool operator==(const SlotRecord& left, const SlotRecord& right) = default;
};

/// Slots by name.
using SlotRecords = std::map<String, SlotRecord>;

struct SlotRecordKey
{
    const char* name;
    std::variant<String SlotRecord::*, std::uint32_t SlotRecord::*, std::uint64_t SlotRecord::*> member;

    static const std::array<SlotRecordKey, 18> All;
};

/// Makes `count` slots with all keys.
[[nodiscard]] SlotRecords MakeSlots(std::size_t count);

} // namespace Zel::Benchmarks

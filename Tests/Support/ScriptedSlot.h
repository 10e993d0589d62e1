#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

namespace Zel::Tests::Support
{

/// One slot as "GetSlotStatus" tells of it: keys and values in the order in which they were first set.
class ScriptedSlot
{
public:
    using Value = std::variant<String, std::uint32_t, std::uint64_t>;

    /// A slot with the keys that RAUC always sends: class, device, type and state.
    ScriptedSlot(String name, const String& bootname, const String& state);

    /// What RAUC adds once it has written the slot: bundle, status "ok", checksum, size, times and counts.
    ScriptedSlot& Written(const String& version, const String& sha256 = DefaultSha256);

    ScriptedSlot& Set(const String& key, Value value);

    /// Returns the text at `key`, empty when there is none.
    [[nodiscard]] String GetText(const String& key) const;

    [[nodiscard]] const String& GetName() const noexcept { return name; }

    [[nodiscard]] const std::vector<std::pair<String, Value>>& GetValues() const noexcept { return values; }

    inline static const String DefaultSha256 =
        "5feceb66ffc86f38d952786c6d696c79c2dbc239dd4e91b46729d73a27fb57e9";

private:
    String name;
    std::vector<std::pair<String, Value>> values;
};

} // namespace Zel::Tests::Support

#pragma once

#include "Zel/String.h"

#include <map>

namespace Zel::Tests::Support
{

/// One slot as "GetSlotStatus" tells of it, without its numbers.
class ScriptedSlot
{
public:
    /// A slot with the keys that RAUC always sends.
    ScriptedSlot(const String& name, const String& bootname, const String& state)
        : name(name), texts{{"bootname", bootname}, {"state", state}, {"boot-status", "good"}}
    {
        Set("class", name.substr(0, name.find('.'))).Set("type", "raw").Set("device", "/dev/disk/" + name);
    }

    /// What RAUC adds once it has written the slot.
    ScriptedSlot& Written(const String& version)
    {
        Set("sha256", DefaultSha256).Set("bundle.compatible", "Controller").Set("bundle.version", version);
        return Set("status", "ok").Set("installed.timestamp", "2026-08-01T06:59:33Z");
    }

    ScriptedSlot& Set(const String& key, const String& value) { return (texts[key] = value, *this); }

    /// Returns the text at `key`, empty when there is none.
    [[nodiscard]] String GetText(const String& key) const { return texts.contains(key) ? texts.at(key) : ""; }

    [[nodiscard]] const String& GetName() const noexcept { return name; }

    [[nodiscard]] const std::map<String, String>& GetTexts() const noexcept { return texts; }

    inline static const String DefaultSha256 =
        "5feceb66ffc86f38d952786c6d696c79c2dbc239dd4e91b46729d73a27fb57e9";

private:
    String name;
    std::map<String, String> texts;
};

} // namespace Zel::Tests::Support

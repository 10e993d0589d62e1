#include "Support/ScriptedSlot.h"

#include <algorithm>

namespace Zel::Tests::Support
{

ScriptedSlot::ScriptedSlot(String name, const String& bootname, const String& state) : name(std::move(name))
{
    Set("class", this->name.substr(0, this->name.find('.')));
    Set("bootname", bootname);
    Set("type", String("raw"));
    Set("device", "/dev/disk/" + this->name);
    Set("state", state);
    Set("boot-status", String("good"));
}

ScriptedSlot& ScriptedSlot::Written(const String& version, const String& sha256)
{
    Set("sha256", sha256);
    Set("size", std::uint64_t{41'943'040});
    Set("bundle.compatible", String("Controller"));
    Set("bundle.version", version);
    Set("bundle.description", String());
    Set("bundle.build", String("20260801"));
    Set("status", String("ok"));
    Set("installed.timestamp", String("2026-08-01T06:59:33Z"));
    Set("installed.count", std::uint32_t{3});
    Set("activated.timestamp", String("2026-08-01T07:00:12Z"));
    return Set("activated.count", std::uint32_t{2});
}

ScriptedSlot& ScriptedSlot::Set(const String& key, Value value)
{
    const auto found = std::ranges::find(values, key, &std::pair<String, Value>::first);
    if (found == values.end())
    {
        values.emplace_back(key, std::move(value));
    }
    else
    {
        found->second = std::move(value);
    }
    return *this;
}

String ScriptedSlot::GetText(const String& key) const
{
    const auto found = std::ranges::find(values, key, &std::pair<String, Value>::first);
    const auto* text = found == values.end() ? nullptr : std::get_if<String>(&found->second);
    return text != nullptr ? *text : String();
}

} // namespace Zel::Tests::Support

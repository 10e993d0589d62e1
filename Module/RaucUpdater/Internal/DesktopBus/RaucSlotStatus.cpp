#include "RaucUpdater/Internal/DesktopBus/RaucSlotStatus.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"
#include "Zel/Exception.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

/// One key of the dictionary and how its value becomes a member.
struct RaucSlotStatus::Key
{
    std::string_view name;
    bool (*read)(RaucSlotStatus& status, const DesktopBusField& value);

    template <auto Member>
    [[nodiscard]] static bool Text(RaucSlotStatus& status, const DesktopBusField& value)
    {
        return value.TryGetString(status.*Member);
    }

    template <auto Member>
    [[nodiscard]] static bool Count(RaucSlotStatus& status, const DesktopBusField& value)
    {
        return value.TryGetUint32(status.*Member);
    }

    template <auto Member>
    [[nodiscard]] static bool Timestamp(RaucSlotStatus& status, const DesktopBusField& value)
    {
        return ReadTimestamp(value, status.*Member);
    }

    [[nodiscard]] static bool Size(RaucSlotStatus& status, const DesktopBusField& value)
    {
        return value.TryGetUint64(status.size);
    }

    static const std::array<Key, 18> All;
};

constinit const std::array<RaucSlotStatus::Key, 18> RaucSlotStatus::Key::All = {{
    {"installed.timestamp", &Timestamp<&RaucSlotStatus::installDateTime>},
    {"installed.count", &Count<&RaucSlotStatus::installedCount>},
    {"size", &Size},
    {"sha256", &Text<&RaucSlotStatus::sha256>},
    {"bundle.build", &Text<&RaucSlotStatus::bundleBuild>},
    {"bundle.compatible", &Text<&RaucSlotStatus::bundleCompatible>},
    {"bundle.version", &Text<&RaucSlotStatus::bundleVersion>},
    {"type", &Text<&RaucSlotStatus::type>},
    {"bootname", &Text<&RaucSlotStatus::bootname>},
    {"class", &Text<&RaucSlotStatus::slotClass>},
    {"activated.count", &Count<&RaucSlotStatus::activatedCount>},
    {"bundle.description", &Text<&RaucSlotStatus::bundleDescription>},
    {"boot-status", &Text<&RaucSlotStatus::bootStatus>},
    {"activated.timestamp", &Timestamp<&RaucSlotStatus::activatedDateTime>},
    {"mountpoint", &Text<&RaucSlotStatus::mountpoint>},
    {"state", &Text<&RaucSlotStatus::state>},
    {"status", &Text<&RaucSlotStatus::status>},
    {"device", &Text<&RaucSlotStatus::device>},
}};

bool RaucSlotStatus::ReadMessage(const DesktopBusMessage& message)
{
    return ReadFields(message.ReadFields());
}

bool RaucSlotStatus::ReadFields(std::span<const DesktopBusField> fields)
{
    const auto* entries = fields.empty() ? nullptr : fields.front().PeekArray();
    if (entries == nullptr)
    {
        return DesktopBusFieldReader(GetLogger(), fields).Fail("Failed to enter array. Fields: {0}");
    }
    for (const auto& entry : *entries)
    {
        static_cast<void>(ReadField(entry));
    }
    return true;
}

bool RaucSlotStatus::ReadField(const DesktopBusField& field)
{
    const auto* keyAndValue = field.PeekDictEntry();
    if (keyAndValue == nullptr || keyAndValue->size() != 2)
    {
        return false;
    }
    const auto* name = keyAndValue->front().PeekString();
    const auto* value = keyAndValue->back().PeekVariant();
    if (name == nullptr || value == nullptr)
    {
        return false;
    }
    const auto key = std::ranges::find(Key::All, *name, &Key::name);
    if (key == Key::All.end())
    {
        Log(LogLevel::Debug, "Not supported");
        return false;
    }
    return key->read(*this, *value);
}

bool RaucSlotStatus::ReadTimestamp(const DesktopBusField& field, DateTime& dateTime)
{
    String text;
    if (!field.TryGetString(text))
    {
        return false;
    }
    if (text.ends_with('Z'))
    {
        text.pop_back();
    }
    try
    {
        dateTime = DateTime::FromIso8601String(text);
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Error, "Failed to parse timestamp={0}. {1}", text, exception.ToString());
        return false;
    }
    return true;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "Support/FakeDeviceInfo.h"

#include <utility>

namespace Zel::Tests::Support
{

FakeDeviceInfo::FakeDeviceInfo()
{
    items = {{"General.ArticleName", "Controller"},
             {"General.ArticleNumber", 1234567},
             {"General.VendorName", "Corvane Systems"},
             {"General.Firmware.BuildDate", "2026-11-21"},
             {"General.Firmware.BuildTime", "06:59:33"}};
    SetFirmwareVersion(1, 0, 0, 0);
}

FakeDeviceInfo::~FakeDeviceInfo() = default;

Variant FakeDeviceInfo::GetItem(const Key& key)
{
    const std::lock_guard lock(mutex);
    queries.push_back(key.ToString());
    const auto found = items.find(key.ToString());
    return found == items.end() ? Variant() : found->second;
}

void FakeDeviceInfo::Set(const String& key, const Variant& value)
{
    const std::lock_guard lock(mutex);
    items[key] = value;
}

void FakeDeviceInfo::SetFirmwareVersion(int major, int minor, int patch, int build)
{
    Set("General.Firmware.VersionMajor", major);
    Set("General.Firmware.VersionMinor", minor);
    Set("General.Firmware.VersionPatch", patch);
    Set("General.Firmware.VersionBuild", build);
}

std::vector<String> FakeDeviceInfo::TakeQueries()
{
    const std::lock_guard lock(mutex);
    return std::exchange(queries, {});
}

} // namespace Zel::Tests::Support

#pragma once

#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/String.h"
#include "Zel/Variant.h"

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace Zel::Tests::Support
{

/// Facts about a device that tests set; records which were asked for. Begins with those of a complete device:
/// article "Controller" number 1234567, firmware 1.0.0.0. Thread-safe.
class FakeDeviceInfo : public Services::Device::IDeviceInfoService
{
public:
    FakeDeviceInfo() { SetFirmwareVersion(1, 0, 0, 0); }

    [[nodiscard]] Variant GetItem(const Key& key) override
    {
        const std::lock_guard lock(mutex);
        queries.push_back(key.ToString());
        const auto found = items.find(key.ToString());
        return found == items.end() ? Variant() : found->second;
    }

    /// A value of the none type makes the fact unavailable.
    void Set(const String& key, const Variant& value)
    {
        const std::lock_guard lock(mutex);
        items[key] = value;
    }

    /// Sets the four parts of the firmware version.
    void SetFirmwareVersion(int major, int minor, int patch, int build)
    {
        Set("General.Firmware.VersionMajor", major);
        Set("General.Firmware.VersionMinor", minor);
        Set("General.Firmware.VersionPatch", patch);
        Set("General.Firmware.VersionBuild", build);
    }

    /// Returns the keys that were asked for, in order, and forgets them.
    [[nodiscard]] std::vector<String> TakeQueries()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(queries, {});
    }

private:
    std::mutex mutex;
    std::map<String, Variant> items = {{"General.ArticleName", "Controller"},
                                       {"General.ArticleNumber", 1234567},
                                       {"General.VendorName", "Corvane Systems"},
                                       {"General.Firmware.BuildDate", "2026-11-21"},
                                       {"General.Firmware.BuildTime", "06:59:33"}};
    std::vector<String> queries;
};

} // namespace Zel::Tests::Support

#pragma once

#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/String.h"
#include "Zel/Variant.h"

#include <map>
#include <mutex>
#include <sstream>

namespace Zel::Tests::Support
{

/// Facts about a device that tests set. Begins with those of a complete device: article "Controller" number
/// 1234567, firmware 1.0.0.0. Thread-safe.
class FakeDeviceInfo : public Services::Device::IDeviceInfoService
{
public:
    FakeDeviceInfo() { SetFirmwareVersion("1.0.0.0"); }

    [[nodiscard]] Variant GetItem(const Key& key) override
    {
        const std::lock_guard lock(mutex);
        return items[key.ToString()];
    }

    /// A value of the none type makes the fact unavailable.
    void Set(const String& key, const Variant& value)
    {
        const std::lock_guard lock(mutex);
        items[key] = value;
    }

    /// Sets the four parts of the firmware version.
    void SetFirmwareVersion(const String& version)
    {
        std::istringstream text(version);
        String number;
        for (const char* part : {"Major", "Minor", "Patch", "Build"})
        {
            std::getline(text, number, '.');
            Set(String("General.Firmware.Version") + part, number);
        }
    }

private:
    std::mutex mutex;
    std::map<String, Variant> items = {{"General.ArticleName", "Controller"},
                                       {"General.ArticleNumber", 1234567},
                                       {"General.VendorName", "Corvane Systems"},
                                       {"General.Firmware.BuildDate", "2026-11-21"},
                                       {"General.Firmware.BuildTime", "06:59:33"}};
};

} // namespace Zel::Tests::Support

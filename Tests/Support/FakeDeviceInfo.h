#pragma once

#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/String.h"
#include "Zel/Variant.h"

#include <map>
#include <mutex>
#include <vector>

namespace Zel::Tests::Support
{

/// Facts about a device that tests set; records which were asked for. Thread-safe.
class FakeDeviceInfo : public Services::Device::IDeviceInfoService
{
public:
    /// Begins with the facts of a complete device: article "Controller" number 1234567, firmware 1.0.0.0.
    FakeDeviceInfo();
    ~FakeDeviceInfo() override;
    FakeDeviceInfo(const FakeDeviceInfo&) = delete;
    FakeDeviceInfo& operator=(const FakeDeviceInfo&) = delete;

    [[nodiscard]] Variant GetItem(const Key& key) override;

    /// A value of the none type makes the fact unavailable.
    void Set(const String& key, const Variant& value);

    /// Sets the four parts of the firmware version.
    void SetFirmwareVersion(int major, int minor, int patch, int build);

    /// Returns the keys that were asked for, in order, and forgets them.
    [[nodiscard]] std::vector<String> TakeQueries();

private:
    mutable std::mutex mutex;
    std::map<String, Variant> items;
    std::vector<String> queries;
};

} // namespace Zel::Tests::Support

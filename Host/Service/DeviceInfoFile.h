#pragma once

#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

namespace Zel::Host::Service
{

/// Facts about the device from a file of "key=value" lines, read anew at each query. Blanks around key and
/// value, empty lines and lines that begin with "#" do not count; the last of several lines of a key does.
/// Every value is a text.
class DeviceInfoFile : public Services::Device::IDeviceInfoService,
                       private System::Commons::Diagnostics::Logging::Loggable<DeviceInfoFile>
{
public:
    /// The most bytes that such a file may have.
    static constexpr std::uint64_t MaximumSize = std::uint64_t{256} * 1024;

    explicit DeviceInfoFile(String path);
    ~DeviceInfoFile() override;
    DeviceInfoFile(const DeviceInfoFile&) = delete;
    DeviceInfoFile& operator=(const DeviceInfoFile&) = delete;

    /// A file that cannot be read is logged at error level and has no facts.
    [[nodiscard]] Variant GetItem(const Key& key) override;

private:
    const String path;
};

} // namespace Zel::Host::Service

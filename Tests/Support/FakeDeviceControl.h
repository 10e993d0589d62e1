#pragma once

#include "Zel/Services/Device/IDeviceControlService.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

namespace Zel::Tests::Support
{

/// Tells the log of each restart that is ordered: "info FakeDeviceControl: RestartDevice". Thread-safe.
class FakeDeviceControl : public Services::Device::IDeviceControlService,
                          private System::Commons::Diagnostics::Logging::Loggable<FakeDeviceControl>
{
public:
    void RestartDevice() override
    {
        Log(System::Commons::Diagnostics::Logging::LogLevel::Info, "RestartDevice");
    }
};

} // namespace Zel::Tests::Support

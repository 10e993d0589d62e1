#pragma once

#include "Zel/String.h"
#include "Zel/System/Rsc/IService.h"
#include "Zel/Visibility.h"

namespace Zel::Services::Device
{

/// Controls the device as a whole. Thread-safe.
class ZEL_API IDeviceControlService : public System::Rsc::IService
{
public:
    inline static const String InterfaceName = "IDeviceControlService";

    ~IDeviceControlService() override;

    /// Orders a restart of the device and returns at once; a failure is logged by the service that carries it
    /// out.
    virtual void RestartDevice() = 0;
};

} // namespace Zel::Services::Device

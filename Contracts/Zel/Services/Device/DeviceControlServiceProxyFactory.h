#pragma once

#include "Zel/Services/Device/IDeviceControlService.h"
#include "Zel/System/Rsc/LocalProxyFactory.h"

namespace Zel::Services::Device
{

using DeviceControlServiceProxyFactory = System::Rsc::LocalProxyFactory<IDeviceControlService>;

} // namespace Zel::Services::Device

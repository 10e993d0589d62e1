#pragma once

#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/System/Rsc/LocalProxyFactory.h"

namespace Zel::Services::Device
{

using DeviceInfoServiceProxyFactory = System::Rsc::LocalProxyFactory<IDeviceInfoService>;

} // namespace Zel::Services::Device

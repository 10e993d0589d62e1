#include "Zel/Services/Device/IDeviceInfoService.h"

namespace Zel::Services::Device
{

IDeviceInfoService::~IDeviceInfoService() = default;

} // namespace Zel::Services::Device

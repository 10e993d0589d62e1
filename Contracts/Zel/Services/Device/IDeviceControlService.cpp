#include "Zel/Services/Device/IDeviceControlService.h"

namespace Zel::Services::Device
{

IDeviceControlService::~IDeviceControlService() = default;

} // namespace Zel::Services::Device

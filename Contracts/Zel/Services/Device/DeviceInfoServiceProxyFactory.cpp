#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"

namespace Zel::Services::Device
{

DeviceInfoServiceProxyFactory::~DeviceInfoServiceProxyFactory() = default;

const DeviceInfoServiceProxyFactory& DeviceInfoServiceProxyFactory::GetInstance()
{
    static const DeviceInfoServiceProxyFactory Instance;
    return Instance;
}

const String& DeviceInfoServiceProxyFactory::GetInterfaceName() const noexcept
{
    return InterfaceName;
}

std::shared_ptr<System::Rsc::IService>
DeviceInfoServiceProxyFactory::CreateProxy(std::shared_ptr<System::Rsc::IService> service) const
{
    return service;
}

} // namespace Zel::Services::Device

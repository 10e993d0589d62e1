#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"

namespace Zel::Services::Device
{

DeviceControlServiceProxyFactory::~DeviceControlServiceProxyFactory() = default;

const DeviceControlServiceProxyFactory& DeviceControlServiceProxyFactory::GetInstance()
{
    static const DeviceControlServiceProxyFactory Instance;
    return Instance;
}

const String& DeviceControlServiceProxyFactory::GetInterfaceName() const noexcept
{
    return InterfaceName;
}

std::shared_ptr<System::Rsc::IService>
DeviceControlServiceProxyFactory::CreateProxy(std::shared_ptr<System::Rsc::IService> service) const
{
    return service;
}

} // namespace Zel::Services::Device

#pragma once

#include "Zel/System/Rsc/IProxyFactory.h"
#include "Zel/Visibility.h"

namespace Zel::Services::Device
{

/// Reaches an `IDeviceControlService` of the same process.
class ZEL_API DeviceControlServiceProxyFactory : public System::Rsc::IProxyFactory
{
public:
    inline static const String InterfaceName = "IDeviceControlService";

    ~DeviceControlServiceProxyFactory() override;

    /// The process's one factory.
    [[nodiscard]] static const DeviceControlServiceProxyFactory& GetInstance();

    [[nodiscard]] const String& GetInterfaceName() const noexcept override;
    [[nodiscard]] std::shared_ptr<System::Rsc::IService>
    CreateProxy(std::shared_ptr<System::Rsc::IService> service) const override;
};

} // namespace Zel::Services::Device

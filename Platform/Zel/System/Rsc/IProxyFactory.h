#pragma once

#include "Zel/String.h"
#include "Zel/System/Rsc/IService.h"
#include "Zel/Visibility.h"

#include <memory>

namespace Zel::System::Rsc
{

/// Knows one service interface: its name, under which implementations are registered, and how a caller
/// reaches one.
class ZEL_API IProxyFactory
{
public:
    virtual ~IProxyFactory();

    /// The interface's name, for example "IDeviceInfoService".
    [[nodiscard]] virtual const String& GetInterfaceName() const noexcept = 0;

    /// Returns the object that a caller uses for `service`; for a service of the same process that is
    /// `service` itself.
    [[nodiscard]] virtual std::shared_ptr<IService> CreateProxy(std::shared_ptr<IService> service) const = 0;
};

} // namespace Zel::System::Rsc

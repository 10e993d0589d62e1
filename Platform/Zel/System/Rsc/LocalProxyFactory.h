#pragma once

#include "Zel/System/Rsc/IProxyFactory.h"

namespace Zel::System::Rsc
{

/// Reaches a service of the same process by its interface `Interface`, which has its name as the static text
/// `InterfaceName`.
template <typename Interface>
class LocalProxyFactory : public IProxyFactory
{
public:
    /// The library's one factory; those of two libraries stand for the same service.
    [[nodiscard]] static const LocalProxyFactory& GetInstance()
    {
        static const LocalProxyFactory Instance;
        return Instance;
    }

    [[nodiscard]] const String& GetInterfaceName() const noexcept override
    {
        return Interface::InterfaceName;
    }

    [[nodiscard]] std::shared_ptr<IService> CreateProxy(std::shared_ptr<IService> service) const override
    {
        return service;
    }
};

} // namespace Zel::System::Rsc

#pragma once

#include "Zel/String.h"
#include "Zel/System/Rsc/IProxyFactory.h"
#include "Zel/System/Rsc/IService.h"
#include "Zel/Visibility.h"

#include <memory>

namespace Zel::System::Rsc
{

/// The process's registry of services by provider (for example "Zel") and interface name. Thread-safe.
class ZEL_API ServiceManager
{
public:
    /// Offers `service` under the factory's interface name; replaces an earlier one. Null takes the offer
    /// back.
    static void RegisterService(const String& provider, const IProxyFactory& proxyFactory,
                                std::shared_ptr<IService> service);

    /// Returns the proxy that `proxyFactory` makes for the registered service, or null when there is none.
    [[nodiscard]] static std::shared_ptr<IService> GetService(const String& provider,
                                                              const IProxyFactory& proxyFactory);
};

} // namespace Zel::System::Rsc

#include "Zel/System/Rsc/ServiceManager.h"

#include "Zel/Immortal.h"

#include <map>
#include <mutex>
#include <utility>

namespace Zel::System::Rsc
{

namespace
{

using ServiceKey = std::pair<String, String>;

struct Registry
{
    std::mutex mutex;
    std::map<ServiceKey, std::shared_ptr<IService>> services;
};

Registry& GetRegistry()
{
    static Immortal<Registry> registry;
    return registry.Get();
}

} // namespace

void ServiceManager::RegisterService(const String& provider, const IProxyFactory& proxyFactory,
                                     std::shared_ptr<IService> service)
{
    // An earlier service is destroyed after the lock is released: its destructor may ask this registry.
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mutex);
    registry.services[ServiceKey(provider, proxyFactory.GetInterfaceName())].swap(service);
}

std::shared_ptr<IService> ServiceManager::GetService(const String& provider,
                                                     const IProxyFactory& proxyFactory)
{
    std::shared_ptr<IService> service;
    {
        Registry& registry = GetRegistry();
        const std::lock_guard lock(registry.mutex);
        const auto found = registry.services.find(ServiceKey(provider, proxyFactory.GetInterfaceName()));
        if (found != registry.services.end())
        {
            service = found->second;
        }
    }
    return service ? proxyFactory.CreateProxy(std::move(service)) : nullptr;
}

} // namespace Zel::System::Rsc

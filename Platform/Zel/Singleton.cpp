#include "Zel/Singleton.h"

#include "Zel/Immortal.h"
#include "Zel/String.h"

#include <map>
#include <mutex>

namespace Zel::Impl
{

namespace
{

struct SlotRegistry
{
    std::mutex mutex;
    // By name, not by std::type_index: that one points into the library that asked, which may be unloaded.
    std::map<String, std::atomic<void*>, std::less<>> slots;
};

} // namespace

std::atomic<void*>& GetSingletonSlot(const std::type_info& type)
{
    static Immortal<SlotRegistry> registry;
    const std::lock_guard lock(registry.Get().mutex);
    return registry.Get().slots[type.name()];
}

} // namespace Zel::Impl

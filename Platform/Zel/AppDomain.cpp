#include "Zel/AppDomain.h"

#include <utility>

namespace Zel
{

AppDomain::AppDomain(String name) : name(std::move(name)) {}

AppDomain::~AppDomain() = default;

const String& AppDomain::GetName() const noexcept
{
    return name;
}

void AppDomain::SetPathVariable(const String& variableName, const String& value)
{
    const std::lock_guard lock(mutex);
    pathVariables[variableName] = value;
}

bool AppDomain::TryGetPathVariable(const String& variableName, String& value) const
{
    const std::lock_guard lock(mutex);
    const auto found = pathVariables.find(variableName);
    if (found == pathVariables.end())
    {
        return false;
    }
    value = found->second;
    return true;
}

void AppDomain::SetShared(const std::type_info& type, std::shared_ptr<void> instance)
{
    // What was there before is destroyed after the lock is released: its destructor may ask this registry.
    const std::lock_guard lock(mutex);
    singletons[type.name()].swap(instance);
}

std::shared_ptr<void> AppDomain::GetShared(const std::type_info& type) const
{
    const std::lock_guard lock(mutex);
    const auto found = singletons.find(type.name());
    return found == singletons.end() ? nullptr : found->second;
}

} // namespace Zel

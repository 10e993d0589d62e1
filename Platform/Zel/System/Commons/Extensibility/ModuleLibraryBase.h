#pragma once

#include "Zel/System/Commons/Extensibility/ModuleFactory.h"

#include <utility>

namespace Zel::System::Commons::Extensibility
{

/// What a module library's entry function hands to the service: an object that owns the library's factory. It
/// is owned by the library and lives to the process's end.
template <typename Module>
class ModuleLibraryBase
{
public:
    virtual ~ModuleLibraryBase() = default;
    ModuleLibraryBase(const ModuleLibraryBase&) = delete;
    ModuleLibraryBase& operator=(const ModuleLibraryBase&) = delete;

    [[nodiscard]] ModuleFactory<Module>& GetFactory() noexcept { return factory; }

    [[nodiscard]] const ModuleFactory<Module>& GetFactory() const noexcept { return factory; }

protected:
    ModuleLibraryBase() = default;

    void AddFactoryFunction(const String& moduleName,
                            typename ModuleFactory<Module>::FactoryFunction function)
    {
        factory.AddFactoryFunction(moduleName, std::move(function));
    }

private:
    ModuleFactory<Module> factory;
};

} // namespace Zel::System::Commons::Extensibility

#pragma once

#include "Zel/AppDomain.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/System/Commons/Extensibility/ModuleLibraryBase.h"
#include "Zel/Visibility.h"

#include <memory>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

/// What this library hands to the service that loads it: the factory of the one module that it offers.
class ModuleLibrary
    : public System::Commons::Extensibility::ModuleLibraryBase<Services::SoftwareUpdate::IUpdaterModule>
{
public:
    /// Makes `appDomain` the process's one unless there is one already, and the log its log; registers
    /// `RaucUpdaterModule::ModuleName`.
    explicit ModuleLibrary(AppDomain& appDomain);

    /// Returns a new module; exceptions of its constructor pass.
    [[nodiscard]] static std::unique_ptr<Services::SoftwareUpdate::IUpdaterModule> CreateModule();
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

/// The library's only exported symbol. Returns the process's one library object, built with `appDomain` by
/// the first call; later calls ignore their argument. The library keeps it to the process's end. Exceptions
/// of its construction pass, and the next call tries again. Thread-safe.
extern "C" ZEL_API
    Zel::System::Commons::Extensibility::ModuleLibraryBase<Zel::Services::SoftwareUpdate::IUpdaterModule>*
    CreateSoftwareUpdateModuleLibrary(Zel::AppDomain& appDomain);

#include "RaucUpdater/ModuleLibrary.h"

#include "RaucUpdater/RaucUpdaterModule.h"
#include "Zel/Singleton.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Services::SoftwareUpdate::IUpdaterModule;
using System::Commons::Diagnostics::Logging::LogManager;

ModuleLibrary::ModuleLibrary(AppDomain& appDomain)
{
    static_cast<void>(Singleton<AppDomain>::TrySetInstance(&appDomain));
    LogManager::AssignAppDomain(appDomain);
    AddFactoryFunction(RaucUpdaterModule::ModuleName, CreateModule);
}

std::unique_ptr<IUpdaterModule> ModuleLibrary::CreateModule()
{
    return std::make_unique<RaucUpdaterModule>();
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

Zel::System::Commons::Extensibility::ModuleLibraryBase<Zel::Services::SoftwareUpdate::IUpdaterModule>*
CreateSoftwareUpdateModuleLibrary(Zel::AppDomain& appDomain)
{
    static Zel::Services::Modules::SoftwareUpdate::RaucUpdater::ModuleLibrary library(appDomain);
    return &library;
}

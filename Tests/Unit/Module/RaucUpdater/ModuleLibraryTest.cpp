#include "Support/ModulePlatform.h"
#include "Support/ProgramRun.h"
#include "Support/RecordingLog.h"
#include "Support/Thrown.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/Extensibility/ModuleLibraryBase.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Services::SoftwareUpdate::IUpdaterModule;
using System::Commons::ArgumentException;
using Library = System::Commons::Extensibility::ModuleLibraryBase<IUpdaterModule>;
using Entry = Library* (*)(AppDomain&);

/// The library as a service loads it. None of its code is linked into this program.
struct ModuleLibraryTest : testing::Test
{
    void SetUp() override
    {
        void* handle = dlopen(RAUC_UPDATER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle, nullptr) << RAUC_UPDATER_LIBRARY;
        entry = reinterpret_cast<Entry>(dlsym(handle, "CreateSoftwareUpdateModuleLibrary"));
        ASSERT_NE(entry, nullptr);
        library = entry(platform.appDomain);
    }

    [[nodiscard]] std::unique_ptr<IUpdaterModule> Create() const
    {
        return library->GetFactory().CreateModule("RaucUpdater");
    }

    Tests::Support::ModulePlatform platform;
    const Tests::Support::RecordingLog log;
    Entry entry = nullptr;
    Library* library = nullptr;
};

TEST_F(ModuleLibraryTest, ExportsItsEntryOnly)
{
    Tests::Support::ProgramRun run({NM, "-D", "--defined-only", "--format=posix", RAUC_UPDATER_LIBRARY});
    EXPECT_EQ(run.Finish(), 0);
    EXPECT_THAT(run.GetOut(), testing::MatchesRegex("CreateSoftwareUpdateModuleLibrary T [0-9a-f ]+\n"));
}

TEST_F(ModuleLibraryTest, TheEntryReturnsOneObjectThatOffersOneModuleUnderItsExactName)
{
    AppDomain other("other");
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_EQ(entry(other), library);
    EXPECT_EQ(System::Commons::Diagnostics::Logging::LogManager::GetIdentifier(), "module-tests");
    EXPECT_FALSE(Singleton<AppDomain>::HasInstance()) << "the first app domain was the only one to count";
    Singleton<AppDomain>::SetInstance(&platform.appDomain);
    EXPECT_THAT(library->GetFactory().GetModuleNames(), testing::ElementsAre("RaucUpdater"));
    EXPECT_EQ(library->GetFactory().CreateModule("RAUCUPDATER"), nullptr);
    EXPECT_NE(Create(), nullptr);
    platform.appDomain.SetSingleton<System::Nm::INotificationManager>(nullptr);
    EXPECT_THROW(static_cast<void>(Create()), Exception) << "it needs a notification manager";
}

TEST(ModuleFactoryTest, TakesEachNameOnceWithItsFunction)
{
    using Factory = System::Commons::Extensibility::ModuleFactory<int>;
    Factory factory;
    const auto add = [&](const String& name, const Factory::FactoryFunction& function)
    { return Tests::Support::GetThrown([&] { factory.AddFactoryFunction(name, function); }); };
    const auto create = [] { return std::make_unique<int>(); };
    const String thrown = "Zel::System::Commons::ArgumentException: ";
    EXPECT_EQ(add("A", create), "nothing");
    EXPECT_EQ(add("a", create), "nothing");
    EXPECT_EQ(add("A", create), thrown + "Duplicate module name (argument 'moduleName')");
    EXPECT_EQ(add("A", nullptr), thrown + "Invalid factory function. (argument 'function')");
    EXPECT_EQ(add("", nullptr), thrown + "Invalid module name (argument 'moduleName')");
    EXPECT_THAT(factory.GetModuleNames(), testing::ElementsAre("A", "a"));
}

TEST_F(ModuleLibraryTest, SharesSingletonsAndLogWithTheProcess)
{
    const auto registerName = [&]
    {
        return platform.notificationManager->Register(
            "Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed", "test",
            System::Nm::Severity::Error, typeid(System::NmPayload::Security::SecurityNotificationPayload));
    };
    auto first = Create();
    auto second = Create();
    EXPECT_THROW(static_cast<void>(registerName()), ArgumentException) << "the module registered it here";
    first.reset();
    platform.notificationManager->Unregister(registerName());
    second.reset();
    const String line = "debug RaucUpdaterModule: Dispose (~RaucUpdaterModule)";
    EXPECT_THAT(log.GetLinesOf("RaucUpdaterModule"), testing::ElementsAre(line, line));
}

TEST_F(ModuleLibraryTest, WhatInitializeThrowsCanBeCaughtHereAndLeavesAModuleThatRefusesEverything)
{
    const auto module = Create();
    EXPECT_THAT([&] { module->Initialize("/nowhere", nullptr); },
                testing::ThrowsMessage<Exception>(testing::HasSubstr("updaterStatus is null.")));
    EXPECT_THAT([&] { Create()->Initialize("/nowhere", platform.status); },
                testing::ThrowsMessage<Exception>(testing::HasSubstr("/nowhere")));

    using enum Services::SoftwareUpdate::ResultCode;
    Services::SoftwareUpdate::SoftwareUpdateStatus status;
    EXPECT_EQ(module->GetStatus("Controller", status), InvalidArgument);
    EXPECT_EQ(module->GetStatus("", status), GeneralError);
    EXPECT_EQ(module->RevertInstall(""), GeneralError);
    EXPECT_EQ(module->ResumeInstall(""), GeneralError);
    EXPECT_EQ(module->InstallSoftwarePackage("", {}, 0), GeneralError);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

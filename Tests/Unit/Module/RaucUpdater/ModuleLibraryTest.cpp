#include "Support/ModulePlatform.h"
#include "Support/RecordingLogSink.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/Singleton.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/Extensibility/ModuleLibraryBase.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"
#include "Zel/System/Rsc/ServiceManager.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{
namespace
{

using Services::SoftwareUpdate::IUpdaterModule;
using System::Commons::ArgumentException;
using System::Commons::Diagnostics::Logging::LogManager;
using testing::Contains;
using testing::ElementsAre;
using Library = System::Commons::Extensibility::ModuleLibraryBase<IUpdaterModule>;
using Entry = Library* (*)(AppDomain&);

/// Runs a command and returns the lines that it prints.
std::vector<String> GetOutput(const String& command)
{
    std::vector<String> lines;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    char line[1024];
    while (pipe && fgets(line, sizeof(line), pipe.get()) != nullptr)
    {
        lines.emplace_back(line, strcspn(line, "\n"));
    }
    return lines;
}

/// The library as a service loads it. None of its code is linked into this program.
class ModuleLibraryTest : public testing::Test
{
protected:
    void SetUp() override
    {
        void* handle = dlopen(RAUC_UPDATER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle, nullptr) << RAUC_UPDATER_LIBRARY;
        entry = reinterpret_cast<Entry>(dlsym(handle, "CreateSoftwareUpdateModuleLibrary"));
        ASSERT_NE(entry, nullptr);
        library = entry(platform.appDomain);
        ASSERT_NE(library, nullptr);
    }

    [[nodiscard]] std::unique_ptr<IUpdaterModule> CreateModule()
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
    const auto symbols = GetOutput(String(NM) + " -D --defined-only --format=posix " + RAUC_UPDATER_LIBRARY);
    ASSERT_EQ(symbols.size(), 1U);
    EXPECT_THAT(symbols.front(), testing::StartsWith("CreateSoftwareUpdateModuleLibrary T "));
}

TEST_F(ModuleLibraryTest, TheEntryAlwaysReturnsOneObjectAndKeepsTheFirstAppDomain)
{
    EXPECT_EQ(LogManager::GetIdentifier(), "module-tests");
    AppDomain other("other");
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_EQ(entry(other), library);
    EXPECT_EQ(LogManager::GetIdentifier(), "module-tests");
    EXPECT_FALSE(Singleton<AppDomain>::HasInstance());
}

TEST_F(ModuleLibraryTest, OffersOneModuleUnderItsExactName)
{
    EXPECT_THAT(library->GetFactory().GetModuleNames(), Contains("RaucUpdater").Times(1));
    EXPECT_EQ(library->GetFactory().CreateModule("RAUCUPDATER"), nullptr);
    EXPECT_THROW(library->GetFactory().AddFactoryFunction("RaucUpdater", [] { return nullptr; }),
                 ArgumentException);
    const auto first = CreateModule();
    const auto second = CreateModule();
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
}

TEST_F(ModuleLibraryTest, SharesSingletonsAndLogWithTheProcess)
{
    const auto registerName = [&]
    {
        return platform.notificationManager->Register(
            "Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed", "test",
            System::Nm::Severity::Error, typeid(System::NmPayload::Security::SecurityNotificationPayload));
    };
    auto first = CreateModule();
    auto second = CreateModule();
    EXPECT_THROW(static_cast<void>(registerName()), ArgumentException) << "the module registered it here";
    first.reset();
    platform.notificationManager->Unregister(registerName());
    second.reset();
    EXPECT_THAT(log->GetLinesOf("RaucUpdaterModule"),
                ElementsAre("debug RaucUpdaterModule: Dispose (~RaucUpdaterModule)",
                            "debug RaucUpdaterModule: Dispose (~RaucUpdaterModule)"));
    first = CreateModule();
    EXPECT_THROW(static_cast<void>(registerName()), ArgumentException);
}

TEST_F(ModuleLibraryTest, AModuleNeedsANotificationManager)
{
    platform.appDomain.SetSingleton<System::Nm::INotificationManager>(nullptr);
    EXPECT_THROW(static_cast<void>(CreateModule()), Exception);
}

TEST_F(ModuleLibraryTest, InitializeThrowsWhatTheProcessCanCatchAndTheModuleCanBeDestroyed)
{
    const auto getMessage = [&](const String& settingsPath, auto status)
    {
        try
        {
            CreateModule()->Initialize(settingsPath, status);
        }
        catch (const Exception& exception)
        {
            return exception.ToString();
        }
        return String("no exception");
    };
    EXPECT_EQ(getMessage("/nowhere", nullptr), "Zel::Exception: updaterStatus is null.");
    EXPECT_THAT(getMessage("/nowhere", platform.status),
                testing::StartsWith("Zel::System::Commons::IoException"));
    EXPECT_EQ(getMessage(platform.WriteSettings("<PendingUpdatePath/>"), platform.status),
              "Zel::System::Commons::XmlException: PendingUpdatePath must not be empty.");

    System::Rsc::ServiceManager::RegisterService("Zel", Device::DeviceInfoServiceProxyFactory::GetInstance(),
                                                 platform.deviceControl);
    EXPECT_EQ(getMessage(platform.WriteSettings(), platform.status),
              "Zel::System::Commons::InvalidCastException: The service does not implement service interface "
              "'IDeviceInfoService'.");
}

TEST_F(ModuleLibraryTest, AModuleThatIsNotInitializedRefusesEverything)
{
    using Services::SoftwareUpdate::ResultCode;
    const auto module = CreateModule();
    Services::SoftwareUpdate::SoftwareUpdateStatus status;
    IUpdaterModule::SoftwareVersionType version;
    EXPECT_EQ(module->GetStatus("Controller", status), ResultCode::InvalidArgument);
    EXPECT_EQ(module->GetStatus("", status), ResultCode::GeneralError);
    EXPECT_EQ(module->RevertInstall(""), ResultCode::GeneralError);
    EXPECT_EQ(module->ResumeInstall(""), ResultCode::GeneralError);
    EXPECT_EQ(module->InstallSoftwarePackage("", version, 0), ResultCode::GeneralError);
    EXPECT_EQ(module->SetUpdateKey("anything", System::Rsc::Services::SecureString<512>("key")),
              ResultCode::NotSupported);
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

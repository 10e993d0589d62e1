#include "Support/ModulePlatform.h"
#include "Support/RecordingLogSink.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/Singleton.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/Extensibility/ModuleLibraryBase.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{
namespace
{

using Services::SoftwareUpdate::IUpdaterModule;
using System::Commons::ArgumentException;
using Library = System::Commons::Extensibility::ModuleLibraryBase<IUpdaterModule>;
using Entry = Library* (*)(AppDomain&);

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
    }

    [[nodiscard]] std::unique_ptr<IUpdaterModule> CreateModule()
    {
        return library->GetFactory().CreateModule("RaucUpdater");
    }

    /// Returns what a new module says when it is initialized.
    template <typename Status>
    String Initialize(const String& settingsPath, const Status& status)
    {
        try
        {
            CreateModule()->Initialize(settingsPath, status);
        }
        catch (const Exception& exception)
        {
            return exception.ToString();
        }
        return "no exception";
    }

    Tests::Support::ModulePlatform platform;
    const Tests::Support::RecordingLog log;
    Entry entry = nullptr;
    Library* library = nullptr;
};

TEST_F(ModuleLibraryTest, ExportsItsEntryOnly)
{
    const String command = String(NM) + " -D --defined-only --format=posix " + RAUC_UPDATER_LIBRARY;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    std::array<char, 4096> output{};
    ASSERT_NE(fread(output.data(), 1, output.size() - 1, pipe.get()), 0U);
    EXPECT_THAT(output.data(), testing::MatchesRegex("CreateSoftwareUpdateModuleLibrary T [0-9a-f ]+\n"));
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
    EXPECT_NE(CreateModule(), nullptr);
    platform.appDomain.SetSingleton<System::Nm::INotificationManager>(nullptr);
    EXPECT_THROW(static_cast<void>(CreateModule()), Exception) << "it needs a notification manager";
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
    const String line = "debug RaucUpdaterModule: Dispose (~RaucUpdaterModule)";
    EXPECT_THAT(log->GetLinesOf("RaucUpdaterModule"), testing::ElementsAre(line, line));
    first = CreateModule();
    EXPECT_THROW(static_cast<void>(registerName()), ArgumentException);
}

TEST_F(ModuleLibraryTest, WhatInitializeThrowsCanBeCaughtHereAndLeavesAModuleThatRefusesEverything)
{
    EXPECT_EQ(Initialize("/nowhere", nullptr), "Zel::Exception: updaterStatus is null.");
    EXPECT_THAT(Initialize("/nowhere", platform.status),
                testing::StartsWith("Zel::System::Commons::IoException"));
    EXPECT_EQ(Initialize(platform.WriteSettings("<PendingUpdatePath/>"), platform.status),
              "Zel::System::Commons::XmlException: PendingUpdatePath must not be empty.");

    using Services::SoftwareUpdate::ResultCode;
    const auto module = CreateModule();
    Services::SoftwareUpdate::SoftwareUpdateStatus status;
    EXPECT_EQ(module->GetStatus("Controller", status), ResultCode::InvalidArgument);
    EXPECT_EQ(module->GetStatus("", status), ResultCode::GeneralError);
    EXPECT_EQ(module->RevertInstall(""), ResultCode::GeneralError);
    EXPECT_EQ(module->ResumeInstall(""), ResultCode::GeneralError);
    EXPECT_EQ(module->InstallSoftwarePackage("", {}, 0), ResultCode::GeneralError);
    EXPECT_EQ(module->SetUpdateKey("anything", System::Rsc::Services::SecureString<512>("key")),
              ResultCode::NotSupported);
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

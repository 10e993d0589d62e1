#include "Rauc/RaucJourney.h"

#include <filesystem>

namespace Zel::Tests
{

RaucJourney::RaucJourney(const Support::DeviceFolder::Options& createOptions) : device(createOptions)
{
    device.Boot();
    device.MarkGood();
    StartModule();
}

void RaucJourney::StartModule()
{
    const auto part = [this](const char* key)
    { return std::stoi(device.GetFact("General.Firmware." + String(key))); };
    platform.deviceInfo->SetFirmwareVersion(part("VersionMajor"), part("VersionMinor"), part("VersionPatch"),
                                            part("VersionBuild"));
    module = std::make_unique<Module>();
    module->Initialize(platform.WriteSettings(), platform.status);
}

void RaucJourney::Restart()
{
    module.reset();
    device.ShutDown();
    device.Boot();
    StartModule();
    device.MarkGood();
}

RaucJourney::ResultCode RaucJourney::Stage(const String& bundle, String& message)
{
    const auto delivered = platform.folder / "delivered.raucb";
    std::filesystem::copy(bundle, delivered, std::filesystem::copy_options::recursive);
    return module->SetSoftwarePackage(platform.ComponentId, FileType::Pending, delivered, message);
}

void RaucJourney::StageGood(const String& bundle)
{
    String message;
    ASSERT_EQ(Stage(bundle, message), ResultCode::Ok) << message;
    ASSERT_EQ(message, "");
}

RaucJourney::ResultCode RaucJourney::Install(const String& version, long long delay)
{
    Module::SoftwareVersionType wanted;
    wanted.softwareManufacturerUri = platform.ManufacturerUri;
    wanted.softwareRevision = version;
    return module->InstallSoftwarePackage(platform.ComponentId, wanted, delay);
}

void RaucJourney::Update(const String& version)
{
    StageGood(device.MakeBundle(version));
    ASSERT_EQ(Install(version), ResultCode::Ok);
    WaitForRestart();
    Restart();
    ASSERT_EQ(GetStatus().state, InstallationState::Idle);
    ASSERT_EQ(GetVersion(FileType::Current), version);
}

void RaucJourney::WaitForRestart()
{
    ASSERT_TRUE(platform.deviceControl->WaitForRestarts(++restarts));
}

void RaucJourney::WaitForEnd()
{
    ASSERT_TRUE(platform.status->WaitForCall("EndInstallation failed"));
}

String RaucJourney::GetVersion(FileType type)
{
    Module::SoftwareVersionType version;
    const auto result = module->GetSoftwareVersion(platform.ComponentId, type, version);
    return result == ResultCode::Ok ? version.softwareRevision.ToString() : String();
}

Services::SoftwareUpdate::SoftwareUpdateStatus RaucJourney::GetStatus()
{
    Services::SoftwareUpdate::SoftwareUpdateStatus status;
    EXPECT_EQ(module->GetStatus(platform.ComponentId, status), ResultCode::Ok);
    return status;
}

bool RaucJourney::IsPending() const
{
    return std::filesystem::exists(platform.GetPendingPath());
}

} // namespace Zel::Tests

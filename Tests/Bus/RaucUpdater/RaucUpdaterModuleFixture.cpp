#include "Bus/RaucUpdater/RaucUpdaterModuleFixture.h"

#include "Zel/System/Commons/Io/File.h"

#include <algorithm>
#include <cstdio>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

RaucUpdaterModuleFixture::RaucUpdaterModuleFixture()
{
    platform.deviceInfo->SetFirmwareVersion(2, 0, 0, 0);
}

void RaucUpdaterModuleFixture::CreateModule(const String& elements)
{
    module = std::make_unique<RaucUpdaterModule>();
    module->Initialize(platform.WriteSettings(elements), platform.status);
}

void RaucUpdaterModuleFixture::RestartDevice(const String& slotName)
{
    module.reset();
    rauc.Restart(slotName);
    for (const auto& slot : rauc.GetSlots())
    {
        int major = 0;
        if (slot.GetText("state") == "booted" &&
            std::sscanf(slot.GetText("bundle.version").c_str(), "%d", &major) == 1)
        {
            platform.deviceInfo->SetFirmwareVersion(major, 0, 0, 0);
        }
    }
    platform.status->ClearCalls();
    log->Clear();
    CreateModule();
}

Services::SoftwareUpdate::ResultCode RaucUpdaterModuleFixture::Stage(const String& version,
                                                                     const String& compatible)
{
    rauc.AddBundle(platform.GetPendingPath() + ".part", version, compatible);
    rauc.AddBundle(platform.GetPendingPath(), version, compatible);
    String message;
    const ResultCode result =
        module->SetSoftwarePackage(Id, Type::Pending, platform.folder.Write("delivered", version), message);
    EXPECT_EQ(message.empty(), result == ResultCode::Ok) << message;
    return result;
}

RaucUpdaterModuleFixture::Version RaucUpdaterModuleFixture::MakeVersion(const String& revision,
                                                                        const String& uri)
{
    Version version;
    version.softwareManufacturerUri = uri;
    version.softwareRevision = revision;
    return version;
}

Services::SoftwareUpdate::ResultCode RaucUpdaterModuleFixture::Install(const String& revision,
                                                                       long long delayMs)
{
    return module->InstallSoftwarePackage(Id, MakeVersion(revision), delayMs);
}

Services::SoftwareUpdate::ResultCode RaucUpdaterModuleFixture::GetRevision(Type type, String& revision) const
{
    Version version;
    const ResultCode result = module->GetSoftwareVersion(Id, type, version);
    revision = version.softwareRevision.ToString();
    return result;
}

void RaucUpdaterModuleFixture::WaitForSignals()
{
    const String marker = "marker" + std::to_string(++markers);
    rauc.EmitForeignProperty(marker, "Name", "value");
    EXPECT_TRUE(log->WaitForLine("trace PropertiesChangedSignal: Unsupported interface name: " + marker));
}

bool RaucUpdaterModuleFixture::HasPendingBundle() const
{
    return System::Commons::Io::File::Exists(platform.GetPendingPath());
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

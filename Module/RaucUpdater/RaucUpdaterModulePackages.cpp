#include "RaucUpdater/RaucUpdaterModule.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::LogLevel;

namespace
{

using Services::SoftwareUpdate::UpdateBehavior;

/// What installing the pending or the fallback version means for this device.
constexpr UpdateBehavior InstallBehavior = UpdateBehavior::KeepsParameters | UpdateBehavior::WillDisconnect |
                                           UpdateBehavior::WillReboot | UpdateBehavior::NeedsPreparation;

} // namespace

RaucUpdaterModule::ResultCode
RaucUpdaterModule::GetUpdateBehavior(const String& componentId, const String& manufacturerUri,
                                     const String& softwareRevision,
                                     const std::vector<String>& patchIdentifiers, UpdateBehavior& behavior)
{
    behavior = UpdateBehavior::None;
    if (!ValidateComponentId(componentId))
    {
        return ResultCode::InvalidArgument;
    }
    if (!deviceInfoService)
    {
        return ResultCode::GeneralError;
    }
    SoftwareVersionType version;
    version.softwareManufacturer = versionManager.GetSoftwareManufacturer();
    version.softwareManufacturerUri = manufacturerUri;
    version.softwareRevision = softwareRevision;
    version.patchIdentifiers.assign(patchIdentifiers.begin(), patchIdentifiers.end());
    version.releaseDate = DateTime(0, DateTimeKind::Utc);
    ResultCode result = versionManager.CompareVersion(SoftwareVersionFileType::Fallback, version);
    if (result != ResultCode::Ok)
    {
        result = versionManager.CompareVersion(SoftwareVersionFileType::Pending, version);
    }
    if (result == ResultCode::Ok)
    {
        behavior |= InstallBehavior;
    }
    return result;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::GetSoftwareVersion(const String& componentId,
                                                                    SoftwareVersionFileType fileType,
                                                                    SoftwareVersionType& version)
{
    return CatchAll("GetSoftwareVersion",
                    [&]
                    {
                        return ValidateComponentId(componentId)
                                   ? versionManager.GetSoftwareVersion(fileType, version)
                                   : ResultCode::InvalidArgument;
                    });
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::SetSoftwarePackage(const String& componentId,
                                                                    SoftwareVersionFileType fileType,
                                                                    const String& packagePath,
                                                                    String& message)
{
    return CatchAll("SetSoftwarePackage",
                    [&] { return StagePackage(componentId, fileType, packagePath, message); });
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::StagePackage(const String& componentId,
                                                              SoftwareVersionFileType fileType,
                                                              const String& packagePath, String& message)
{
    message.clear();
    SoftwareUpdateStatus status;
    if (const ResultCode result = ReadStatus(componentId, status); result != ResultCode::Ok)
    {
        return result;
    }
    if (status.state == InstallationState::Installing)
    {
        message = "Installation is in progress.";
        return ResultCode::InvalidState;
    }
    return versionManager.SetSoftwarePackage(fileType, packagePath, message);
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::GetSoftwarePackage(const String& componentId,
                                                                    SoftwareVersionFileType fileType,
                                                                    const String& packagePath)
{
    SoftwareUpdateStatus status;
    if (const ResultCode result = ReadStatus(componentId, status); result != ResultCode::Ok)
    {
        return result;
    }
    if (status.state == InstallationState::Installing)
    {
        return ResultCode::InvalidState;
    }
    return versionManager.GetSoftwarePackage(fileType, packagePath);
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::ResumeInstall(const String& componentId)
{
    return CatchAll("ResumeInstall", [&] { return ResumeFailed(componentId); });
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::ResumeFailed(const String& componentId)
{
    SoftwareUpdateStatus status;
    if (const ResultCode result = ReadStatus(componentId, status); result != ResultCode::Ok)
    {
        return result;
    }
    if (status.state != InstallationState::Failed)
    {
        return ResultCode::InvalidState;
    }
    Log(LogLevel::Info, "Resuming (from Installing)...");
    return updaterStatus->ResumeInstallation(componentId) ? ResultCode::Ok : ResultCode::OperationFailed;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::SetUpdateKey(const String& /*componentId*/,
                                                              const SecureKey& /*key*/)
{
    // Without any check, whatever the component: this module knows no keys.
    return ResultCode::NotSupported;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

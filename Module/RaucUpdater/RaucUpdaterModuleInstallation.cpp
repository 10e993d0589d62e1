#include "RaucUpdater/RaucUpdaterModule.h"

#include "RaucUpdater/Internal/FileTypeText.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Internal::FileTypeText;
using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

using Services::SoftwareUpdate::Services::Internal::SoftwareVersionType;

String JoinPatchIdentifiers(const SoftwareVersionType& version)
{
    std::vector<String> texts;
    for (const auto& patchIdentifier : version.patchIdentifiers)
    {
        texts.push_back(patchIdentifier.ToString());
    }
    return Join(texts, ",");
}

} // namespace

RaucUpdaterModule::ResultCode RaucUpdaterModule::InstallSoftwarePackage(const String& componentId,
                                                                        const SoftwareVersionType& version,
                                                                        long long delayMs)
{
    SoftwareUpdateStatus status;
    if (const ResultCode result = ReadStatus(componentId, status); result != ResultCode::Ok)
    {
        return result;
    }
    if (status.state != InstallationState::Idle)
    {
        Log(LogLevel::Debug, "Invalid state {0}", ToString(status.state));
        return ResultCode::InvalidState;
    }
    installationStarted = false;
    updaterStatus->SetMessage(componentId, "", true);
    if (!deviceControlService)
    {
        Log(LogLevel::Error, "IDeviceControlService is missing.");
        return ResultCode::OperationFailed;
    }
    SoftwareVersionFileType fileType{};
    if (!TryFindFileType(version, fileType))
    {
        return RefuseUnknownVersion(componentId, version);
    }
    if (const ResultCode result = ClearProperties(); result != ResultCode::Ok)
    {
        return result;
    }
    if (!updaterStatus->BeginInstallation(componentId, true))
    {
        const String message = "Failed to switch installation state to Installing.";
        updaterStatus->SetMessage(componentId, message, true);
        Log(LogLevel::Error, "{0}", message);
        return ResultCode::OperationFailed;
    }
    Log(LogLevel::Debug, "Installing...");
    return EndUnlessOk(componentId, [&] { return InstallSoftwarePackage(fileType, version, delayMs); });
}

bool RaucUpdaterModule::TryFindFileType(const SoftwareVersionType& version, SoftwareVersionFileType& fileType)
{
    for (const auto candidate : {SoftwareVersionFileType::Pending, SoftwareVersionFileType::Fallback})
    {
        if (versionManager.CompareVersion(candidate, version) == ResultCode::Ok)
        {
            fileType = candidate;
            return true;
        }
    }
    return false;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::RefuseUnknownVersion(const String& componentId,
                                                                      const SoftwareVersionType& version)
{
    const String& expectedUri = versionManager.GetSoftwareManufacturerUri();
    // The blank at the end of the second text is meant.
    const String message =
        version.softwareManufacturerUri.GetView() != expectedUri
            ? Format("'{0}' does not match the expected manufacturer URI '{1}'.",
                     version.softwareManufacturerUri.GetView(), expectedUri)
            : Format("There is not a software package with software revision '{0}' and patch identifiers "
                     "'{1}'. ",
                     version.softwareRevision.GetView(), JoinPatchIdentifiers(version));
    updaterStatus->SetMessage(componentId, message, true);
    Log(LogLevel::Error, "{0}", message);
    return ResultCode::NotFound;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::ClearProperties() const
{
    struct Step
    {
        const String& propertyName;
        const char* failure;
    };

    const Step steps[] = {
        {VersionManager::PropertyTargetSoftwareRevision, "Failed to delete last installation property."},
        {VersionManager::PropertyInstallerSlotName, "Failed to delete last installer slot name property."},
        {VersionManager::PropertyRevertedTo, "Failed to delete last reverted to property."}};
    for (const Step& step : steps)
    {
        if (!updaterStatus->WriteProperty(GetComponentId(), step.propertyName, "", true))
        {
            Log(LogLevel::Error, "{0}", step.failure);
            return ResultCode::GeneralError;
        }
    }
    return ResultCode::Ok;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::InstallSoftwarePackage(SoftwareVersionFileType fileType,
                                                                        const SoftwareVersionType& version,
                                                                        long long delayMs)
{
    if (const ResultCode result = versionManager.SaveVersionInfo(version); result != ResultCode::Ok)
    {
        return result;
    }
    return delayMs < 1 ? InstallSoftwarePackage(fileType) : DelayInstallation(fileType, version, delayMs);
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::InstallSoftwarePackage(SoftwareVersionFileType fileType)
{
    const String currentRevision = DescribeRevision(SoftwareVersionFileType::Current);
    const String targetRevision = DescribeRevision(fileType);
    Log(LogLevel::Info, "Updating from version '{0}' to version '{1}'.", currentRevision, targetRevision);
    if (!desktopBusManager->CanInstall())
    {
        const String message = "Failed to start RAUC installation. Invalid RAUC state.";
        Log(LogLevel::Error, "{0}", message);
        updaterStatus->SetMessage(GetComponentId(), message, false);
        return ResultCode::InvalidState;
    }
    installationStarted = true;
    const ResultCode result = StartInstallation(fileType);
    if (result != ResultCode::Ok)
    {
        installationStarted = false;
    }
    return result;
}

String RaucUpdaterModule::DescribeRevision(SoftwareVersionFileType fileType)
{
    SoftwareVersionType version;
    return versionManager.GetSoftwareVersion(fileType, version) == ResultCode::Ok
               ? version.softwareRevision.ToString()
               : "UNKNOWN";
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::StartInstallation(SoftwareVersionFileType fileType)
{
    if (fileType == SoftwareVersionFileType::Pending)
    {
        return InstallPendingVersion();
    }
    if (fileType == SoftwareVersionFileType::Fallback)
    {
        return InstallFallbackVersion();
    }
    updaterStatus->SetMessage(GetComponentId(), Format("Unsupported file type {0}.", FileTypeText(fileType)),
                              false);
    return ResultCode::NotSupported;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::InstallPendingVersion() const
{
    Log(LogLevel::Info, "The pending version will be installed.");
    if (desktopBusManager->Install(settings.GetPendingUpdatePath()))
    {
        return ResultCode::Ok;
    }
    updaterStatus->SetMessage(GetComponentId(), "Failed to start RAUC installation.", false);
    return ResultCode::OperationFailed;
}

RaucUpdaterModule::ResultCode RaucUpdaterModule::InstallFallbackVersion() const
{
    Log(LogLevel::Info, "The fallback version will be installed.");
    String slot;
    String bundleVersion;
    String sha256;
    String message;
    if (!desktopBusManager->GetOtherValidSlot(slot, bundleVersion, sha256))
    {
        message = "Failed to determine fallback version.";
    }
    else if (!desktopBusManager->SwitchSlot(slot))
    {
        message = "Failed to switch slot to fallback version.";
    }
    else
    {
        return Reboot(true);
    }
    Log(LogLevel::Error, "{0}", message);
    updaterStatus->SetMessage(GetComponentId(), message, false);
    return ResultCode::OperationFailed;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

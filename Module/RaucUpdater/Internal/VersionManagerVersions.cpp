#include "RaucUpdater/Internal/VersionManager.h"

#include "RaucUpdater/Internal/FileTypeText.h"

#include <mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

using System::Commons::Diagnostics::Logging::LogLevel;

VersionManager::ResultCode VersionManager::GetSoftwareVersion(SoftwareVersionFileType type,
                                                              SoftwareVersionType& version)
{
    const std::lock_guard lock(versionMutex);
    version = SoftwareVersionType();
    version.releaseDate = DateTime(0, DateTimeKind::Utc);
    if (const ResultCode result = GetVersion(type, version); result != ResultCode::Ok)
    {
        return result;
    }
    // An error although the version was read; it is meant: a version without the device's facts is none.
    if (!deviceInfoService)
    {
        return ResultCode::GeneralError;
    }
    version.softwareManufacturer = softwareManufacturer;
    version.softwareManufacturerUri = softwareManufacturerUri;
    version.changeLogReference = changeLogReference;
    return ResultCode::Ok;
}

VersionManager::ResultCode VersionManager::GetVersion(SoftwareVersionFileType type,
                                                      SoftwareVersionType& version)
{
    switch (type)
    {
    case SoftwareVersionFileType::Current:
        return GetCurrentVersion(version);
    case SoftwareVersionFileType::Pending:
        return GetPendingVersion(version);
    case SoftwareVersionFileType::Fallback:
        return GetFallbackVersion(version);
    }
    Log(LogLevel::Error, "Unknown SoftwareVersionFileType: {0}", FileTypeText(type));
    return ResultCode::NotSupported;
}

VersionManager::ResultCode VersionManager::GetFallbackVersion(SoftwareVersionType& version)
{
    if (fallbackVersionCache.valid)
    {
        version.softwareRevision = fallbackVersionCache.version.softwareRevision;
        version.releaseDate = fallbackVersionCache.version.releaseDate;
        return ResultCode::Ok;
    }
    if (fallbackVersionCache.attempts >= MaximumAttempts)
    {
        return ResultCode::OperationFailed;
    }
    ++fallbackVersionCache.attempts;
    Log(LogLevel::Debug, "Read fallback version. Attempt: {0}", fallbackVersionCache.attempts);
    String slotName;
    String bundleVersion;
    String sha256;
    if (!desktopBusManager || !desktopBusManager->GetOtherValidSlot(slotName, bundleVersion, sha256))
    {
        Log(LogLevel::Warning,
            "Failed to read fallback version. Maybe there is no other valid slot. Attempt: {0}",
            fallbackVersionCache.attempts);
        return ResultCode::OperationFailed;
    }
    version.softwareRevision = bundleVersion;
    version.releaseDate = DateTime(0, DateTimeKind::Utc);
    fallbackVersionCache = {.version = version, .valid = true, .attempts = 0};
    return ResultCode::Ok;
}

VersionManager::ResultCode VersionManager::CompareVersion(SoftwareVersionFileType type,
                                                          const SoftwareVersionType& expected)
{
    SoftwareVersionType actual;
    if (const ResultCode result = GetSoftwareVersion(type, actual); result != ResultCode::Ok)
    {
        return result;
    }
    if (actual.softwareManufacturerUri != expected.softwareManufacturerUri)
    {
        Log(LogLevel::Debug, "ManufacturerUri mismatch (type={2}): Actual={0} ; Expected={1}",
            actual.softwareManufacturerUri.GetView(), expected.softwareManufacturerUri.GetView(),
            FileTypeText(type));
        return ResultCode::NotFound;
    }
    if (actual.softwareRevision != expected.softwareRevision)
    {
        // Trace is meant: this mismatch is met on every ordinary comparison.
        Log(LogLevel::Trace, "SoftwareRevision mismatch (type={2}): Actual={0} ; Expected={1}",
            actual.softwareRevision.GetView(), expected.softwareRevision.GetView(), FileTypeText(type));
        return ResultCode::NotFound;
    }
    return ComparePatchIdentifiers(actual, expected);
}

VersionManager::ResultCode VersionManager::ComparePatchIdentifiers(const SoftwareVersionType& actual,
                                                                   const SoftwareVersionType& expected)
{
    if (actual.patchIdentifiers.size() != expected.patchIdentifiers.size())
    {
        Log(LogLevel::Debug, "PatchIdentifiers size mismatch");
        return ResultCode::NotFound;
    }
    for (std::size_t index = 0; index < actual.patchIdentifiers.size(); ++index)
    {
        const auto& actualPatch = actual.patchIdentifiers[index];
        const auto& expectedPatch = expected.patchIdentifiers[index];
        if (actualPatch != expectedPatch)
        {
            Log(LogLevel::Debug, "PatchIdentifiers mismatch: Actual={0} ; Expected={1} ; index={2}",
                actualPatch.GetView(), expectedPatch.GetView(), index);
            return ResultCode::NotFound;
        }
    }
    return ResultCode::Ok;
}

void VersionManager::ResetCache(SoftwareVersionFileType type)
{
    const std::lock_guard lock(versionMutex);
    switch (type)
    {
    case SoftwareVersionFileType::Current:
        currentVersionCache.valid = false;
        return;
    case SoftwareVersionFileType::Pending:
    {
        const std::unique_lock fileLock(pendingFileLock);
        pendingVersionCache.size = 0;
        return;
    }
    case SoftwareVersionFileType::Fallback:
        fallbackVersionCache.valid = false;
        fallbackVersionCache.attempts = 0;
        return;
    }
    Log(LogLevel::Debug, "Unable to reset cache: Unknown SoftwareVersionFileType");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal

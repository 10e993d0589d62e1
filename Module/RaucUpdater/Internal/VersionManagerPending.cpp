#include "RaucUpdater/Internal/VersionManager.h"

#include "Zel/Exception.h"
#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/Io/FileSystemInfo.h"

#include <shared_mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::File;
using System::Commons::Io::FileSystemInfo;

VersionManager::ResultCode VersionManager::GetPendingVersion(SoftwareVersionType& version)
{
    const std::shared_lock lock(pendingFileLock);
    if (!File::Exists(pendingUpdatePath))
    {
        pendingVersionCache.size = 0;
        pendingAccepted = false;
        return ResultCode::NotFound;
    }
    if (TryGetPendingVersionFromCache(version))
    {
        return pendingAccepted ? ResultCode::Ok : ResultCode::InvalidArgument;
    }
    Log(LogLevel::Debug, "Read pending version.");
    pendingAccepted = false;
    pendingAccepted = ReadPendingVersion(version);
    if (!pendingAccepted)
    {
        DeleteInvalidPending();
        return ResultCode::InvalidArgument;
    }
    return ResultCode::Ok;
}

bool VersionManager::ReadPendingVersion(SoftwareVersionType& version)
{
    String bundleVersion;
    String bundleCompatible;
    if (!desktopBusManager ||
        !desktopBusManager->GetVersion(pendingUpdatePath, bundleVersion, bundleCompatible))
    {
        Log(LogLevel::Error, "Failed to read pending version info.");
        CachePendingVersion(version);
        return false;
    }
    version.softwareRevision = bundleVersion;
    version.releaseDate = DateTime(0, DateTimeKind::Utc);
    CachePendingVersion(version);
    return ValidateCompatible(bundleCompatible);
}

void VersionManager::DeleteInvalidPending()
{
    Log(LogLevel::Info, "Delete invalid software package {0}", pendingUpdatePath);
    try
    {
        File::Delete(pendingUpdatePath, false);
        pendingVersionCache.size = 0;
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Error, "Failed to delete invalid software package. {0}", exception.ToString());
    }
}

bool VersionManager::TryGetPendingVersionFromCache(SoftwareVersionType& version) const
{
    try
    {
        const DateTime lastWriteTime = FileSystemInfo::GetLastWriteTime(pendingUpdatePath);
        const std::uint64_t size = FileSystemInfo::GetSize(pendingUpdatePath);
        if (size != pendingVersionCache.size || pendingVersionCache.size == 0 ||
            lastWriteTime.GetTicks() != pendingVersionCache.lastWriteTime.GetTicks())
        {
            return false;
        }
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Debug, "{0}: Failed to get file info for software package. {1}",
            "TryGetPendingVersionFromCache", exception.ToString());
        return false;
    }
    version = pendingVersionCache.version;
    return true;
}

void VersionManager::CachePendingVersion(const SoftwareVersionType& version)
{
    if (!File::Exists(pendingUpdatePath))
    {
        pendingVersionCache.size = 0;
        return;
    }
    try
    {
        pendingVersionCache.lastWriteTime = FileSystemInfo::GetLastWriteTime(pendingUpdatePath);
        pendingVersionCache.size = FileSystemInfo::GetSize(pendingUpdatePath);
        pendingVersionCache.version = version;
    }
    catch (const Exception& exception)
    {
        pendingVersionCache.size = 0;
        Log(LogLevel::Error, "{0}: Failed to get file info for software package. {1}", "CachePendingVersion",
            exception.ToString());
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal

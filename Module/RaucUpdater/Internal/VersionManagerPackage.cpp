#include "RaucUpdater/Internal/VersionManager.h"

#include "RaucUpdater/Internal/FileTypeText.h"
#include "Zel/Exception.h"
#include "Zel/Services/SoftwareUpdate/FileUtils.h"
#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/Io/FileSystemInfo.h"
#include "Zel/System/Commons/OutOfMemoryException.h"
#include "Zel/System/Core/Format.h"

#include <mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

using Services::SoftwareUpdate::FileUtils;
using System::Commons::OutOfMemoryException;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::File;
using System::Commons::Io::FileSystemInfo;
using System::Core::Format;

VersionManager::ResultCode VersionManager::SetSoftwarePackage(SoftwareVersionFileType type,
                                                              const String& sourcePath, String& errorMessage)
{
    errorMessage.clear();
    if (type != SoftwareVersionFileType::Pending)
    {
        errorMessage = Format("Unsupported file type {0}", FileTypeText(type));
        return ResultCode::NotSupported;
    }
    const std::unique_lock lock(pendingFileLock);
    if (const ResultCode result = MoveToTemp(sourcePath, errorMessage); result != ResultCode::Ok)
    {
        return result;
    }
    String bundleVersion;
    if (const ResultCode result = VerifySoftwarePackage(errorMessage, bundleVersion);
        result != ResultCode::Ok)
    {
        CleanTempFile();
        return result;
    }
    return AcceptPending(bundleVersion, errorMessage);
}

VersionManager::ResultCode VersionManager::GetSoftwarePackage(SoftwareVersionFileType /*type*/,
                                                              const String& /*path*/) const
{
    return ResultCode::NotSupported;
}

VersionManager::ResultCode VersionManager::MoveToTemp(const String& sourcePath, String& errorMessage) const
{
    if (!FileUtils::Exists(sourcePath))
    {
        errorMessage = "The file does not exist.";
        return ResultCode::NotFound;
    }
    if (!FileSystemInfo::IsFile(sourcePath))
    {
        errorMessage = "The file is not a regular file.";
        return ResultCode::InvalidArgument;
    }
    try
    {
        FileUtils::RenameOrCopyDelete(sourcePath, temporaryPath, true, true);
    }
    catch (const OutOfMemoryException& exception)
    {
        return RefuseTransfer(ResultCode::OutOfMemory,
                              "Failed to transfer software package for verification. There is not enough "
                              "memory available.",
                              exception, errorMessage);
    }
    catch (const Exception& exception)
    {
        return RefuseTransfer(ResultCode::OperationFailed,
                              "Failed to transfer software package for verification.", exception,
                              errorMessage);
    }
    return ResultCode::Ok;
}

VersionManager::ResultCode VersionManager::RefuseTransfer(ResultCode result, const char* message,
                                                          const Exception& exception,
                                                          String& errorMessage) const
{
    errorMessage = message;
    Log(LogLevel::Error, "{0} {1}", errorMessage, exception.ToString());
    CleanTempFile();
    return result;
}

VersionManager::ResultCode VersionManager::VerifySoftwarePackage(String& errorMessage, String& version)
{
    Log(LogLevel::Info, "Verify pending version.");
    String bundleCompatible;
    // A version text that no record can hold is refused here, before the bundle replaces the pending one.
    if (!desktopBusManager || !desktopBusManager->GetVersion(temporaryPath, version, bundleCompatible) ||
        version.size() > SoftwareVersionType::Text::Capacity)
    {
        errorMessage = "The verification of the software package failed.";
        Log(LogLevel::Error, "{0}", errorMessage);
        return ResultCode::InvalidArgument;
    }
    if (ValidateCompatible(bundleCompatible))
    {
        return ResultCode::Ok;
    }
    // "is build" is meant.
    errorMessage = Format("The software package is build for the '{0}' and not for the '{1}'.",
                          bundleCompatible, systemCompatible);
    Log(LogLevel::Error, "{0}", errorMessage);
    return ResultCode::InvalidArgument;
}

VersionManager::ResultCode VersionManager::AcceptPending(const String& bundleVersion, String& errorMessage)
{
    Log(LogLevel::Info, "The pending version '{0}' is accepted.", bundleVersion);
    try
    {
        FileUtils::Rename(temporaryPath, pendingUpdatePath, false, true);
    }
    catch (const Exception& exception)
    {
        // The temporary file stays, unlike after the other refusals; the next start removes it.
        errorMessage = "Failed to move pending software package.";
        Log(LogLevel::Error, "{0} {1}", errorMessage, exception.ToString());
        return ResultCode::OperationFailed;
    }
    SoftwareVersionType version;
    version.softwareRevision = bundleVersion;
    version.releaseDate = DateTime(0, DateTimeKind::Utc);
    CachePendingVersion(version);
    pendingAccepted = true;
    return ResultCode::Ok;
}

bool VersionManager::ValidateCompatible(const String& bundleCompatible)
{
    const std::lock_guard lock(compatibleMutex);
    if (systemCompatible.empty() && !desktopBusManager->GetCompatible(systemCompatible))
    {
        Log(LogLevel::Error, "Failed to get compatible.");
    }
    if (systemCompatible.empty())
    {
        Log(LogLevel::Warning, "System's compatible is not set and cannot be validated against {0}.",
            bundleCompatible);
        return true;
    }
    if (bundleCompatible == systemCompatible)
    {
        return true;
    }
    Log(validateCompatible ? LogLevel::Error : LogLevel::Warning,
        "Incompatible file. System expects '{0}' but is '{1}'", systemCompatible, bundleCompatible);
    return !validateCompatible;
}

void VersionManager::CleanTempFile() const
{
    // A transfer that copies has a file of its own before the temporary one exists.
    for (const auto& path : {temporaryPath, temporaryPath + FileUtils::CopySuffix})
    {
        if (!FileUtils::Exists(path))
        {
            continue;
        }
        try
        {
            File::Delete(path);
        }
        catch (const Exception& exception)
        {
            Log(LogLevel::Error, "Failed to delete temporary pending version. {0}", exception.ToString());
        }
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal

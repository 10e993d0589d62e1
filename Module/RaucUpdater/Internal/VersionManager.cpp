#include "RaucUpdater/Internal/VersionManager.h"

#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <array>
#include <mutex>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;
using System::Core::FormatRuntime;

void VersionManager::Initialize(std::shared_ptr<IUpdaterStatus> updaterStatusStore,
                                std::shared_ptr<DesktopBusManager> raucManager,
                                std::shared_ptr<IDeviceInfoService> deviceInfo,
                                const RaucUpdaterSettings& settings)
{
    initialized = false;
    updaterStatus = std::move(updaterStatusStore);
    desktopBusManager = std::move(raucManager);
    deviceInfoService = std::move(deviceInfo);
    pendingUpdatePath = settings.GetPendingUpdatePath();
    temporaryPath = pendingUpdatePath + ".part";
    validateCompatible = settings.ValidateCompatible();
    validateBootedSlot = settings.ValidateBootedSlot();
    fallbackOnPrimary = settings.FallbackOnPrimary();
    if (!desktopBusManager || !deviceInfoService)
    {
        initialized = true;
    }
    else
    {
        const bool hasDeviceName = ReadDeviceName();
        const bool hasManufacturer = ReadManufacturer(settings);
        static_cast<void>(settings.GetManufacturerUri(softwareManufacturerUri));
        const bool hasChangeLogReference = ReadChangeLogReference(settings);
        initialized = hasDeviceName && hasManufacturer && hasChangeLogReference;
    }
    CleanTempFile();
}

// The texts of the three readers have no full stop; it is meant.
bool VersionManager::ReadDeviceName()
{
    if (!TryGetDeviceItem("General.ArticleName", raucComponentId))
    {
        Log(LogLevel::Error, "Failed to get ArticleName from IDeviceInfoService");
        return false;
    }
    return true;
}

bool VersionManager::ReadManufacturer(const RaucUpdaterSettings& settings)
{
    String manufacturer;
    if (settings.GetManufacturer(manufacturer))
    {
        softwareManufacturer = manufacturer;
        return true;
    }
    if (!TryGetDeviceItem("General.VendorName", softwareManufacturer))
    {
        Log(LogLevel::Error, "Failed to get VendorName from IDeviceInfoService");
        return false;
    }
    // Only the device's short name stands for the full one; what the settings say is taken as it is.
    if (softwareManufacturer == "Corvane Systems")
    {
        softwareManufacturer = "CORVANE SYSTEMS GmbH & Co. KG";
    }
    return true;
}

bool VersionManager::ReadChangeLogReference(const RaucUpdaterSettings& settings)
{
    if (!settings.GetChangeLogReference(changeLogReference) || changeLogReference.find("{0}") == String::npos)
    {
        return true;
    }
    String articleNumber;
    if (!TryGetDeviceItem("General.ArticleNumber", articleNumber))
    {
        Log(LogLevel::Error, "Failed to get ArticleNumber from IDeviceInfoService");
        return false;
    }
    changeLogReference = FormatRuntime(changeLogReference, articleNumber);
    return true;
}

bool VersionManager::TryGetDeviceItem(const char* key, String& text) const
{
    const Variant value = deviceInfoService->GetItem(key);
    if (value.IsNone())
    {
        return false;
    }
    text = value.ToString();
    return true;
}

VersionManager::ResultCode VersionManager::GetCurrentVersion(SoftwareVersionType& version)
{
    if (!deviceInfoService)
    {
        return ResultCode::OperationFailed;
    }
    if (currentVersionCache.valid)
    {
        version.softwareRevision = currentVersionCache.version.softwareRevision;
        version.releaseDate = currentVersionCache.version.releaseDate;
        return ResultCode::Ok;
    }
    if (currentVersionCache.attempts >= MaximumAttempts)
    {
        return ResultCode::OperationFailed;
    }
    ++currentVersionCache.attempts;
    Log(LogLevel::Debug, "Read current version. Attempt: {0}", currentVersionCache.attempts);
    if (!ReadCurrentRevision(version))
    {
        Log(LogLevel::Error, "Failed to read current version. Attempt: {0}", currentVersionCache.attempts);
        return ResultCode::OperationFailed;
    }
    ReadReleaseDate(version);
    return ResultCode::Ok;
}

bool VersionManager::ReadCurrentRevision(SoftwareVersionType& version) const
{
    constexpr std::array Keys = {"General.Firmware.VersionMajor", "General.Firmware.VersionMinor",
                                 "General.Firmware.VersionPatch", "General.Firmware.VersionBuild"};
    std::array<String, Keys.size()> parts;
    bool complete = true;
    for (std::size_t i = 0; i < Keys.size(); ++i)
    {
        complete = TryGetDeviceItem(Keys.at(i), parts.at(i)) && complete;
    }
    if (complete)
    {
        version.softwareRevision = Format("{0}.{1}.{2}.{3}", parts[0], parts[1], parts[2], parts[3]);
    }
    return complete;
}

void VersionManager::ReadReleaseDate(SoftwareVersionType& version)
{
    String date;
    String time;
    const bool hasDate = TryGetDeviceItem("General.Firmware.BuildDate", date);
    const bool hasTime = TryGetDeviceItem("General.Firmware.BuildTime", time);
    if (!hasDate || !hasTime)
    {
        Log(LogLevel::Error, "Failed to read release date of current version.");
    }
    else
    {
        try
        {
            version.releaseDate = DateTime::FromIso8601String(Format("{0}T{1}", date, time));
        }
        catch (const Exception& exception)
        {
            // Not cached: the next call reads again and spends another attempt.
            Log(LogLevel::Error, "Failed to parse release date {0}T{1}. {2}", date, time,
                exception.ToString());
            return;
        }
    }
    currentVersionCache.version = version;
    currentVersionCache.valid = true;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal

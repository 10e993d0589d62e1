#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "RaucUpdater/Internal/Settings/RaucUpdaterSettings.h"
#include "Zel/DateTime.h"
#include "Zel/Services/Device/IDeviceInfoService.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/Services/SoftwareUpdate/ResultCode.h"
#include "Zel/Services/SoftwareUpdate/Services/Internal/SoftwareVersionType.h"
#include "Zel/Services/SoftwareUpdate/SoftwareVersionFileType.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Threading/Mutex.h"
#include "Zel/System/Commons/Threading/ReadWriteLock.h"

#include <cstdint>
#include <memory>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

/// Knows the versions and slots of the device: the running version from the device-info service, the pending
/// one from the bundle that waits at the pending update path, the fallback one from RAUC's other valid slot.
/// What was read once from RAUC or the device is kept for the object's life, as far as the operations do not
/// say otherwise.
///
/// Failures are results and logged texts. Exceptions leave an operation only where it says so, or where they
/// come from the device-info service or the status store.
///
/// Every operation but `Initialize` may be called from any thread. Locks, in this order: version mutex,
/// pending-file lock, compatible mutex, slot mutex; a call to RAUC may be made under the first three.
class VersionManager : private System::Commons::Diagnostics::Logging::Loggable<VersionManager>
{
public:
    using DesktopBusManager = DesktopBus::DesktopBusManager;
    using IDeviceInfoService = Services::Device::IDeviceInfoService;
    using IUpdaterStatus = Services::SoftwareUpdate::IUpdaterStatus;
    using RaucUpdaterSettings = Settings::RaucUpdaterSettings;
    using ResultCode = Services::SoftwareUpdate::ResultCode;
    using SoftwareVersionFileType = Services::SoftwareUpdate::SoftwareVersionFileType;
    using SoftwareVersionType = Services::SoftwareUpdate::Services::Internal::SoftwareVersionType;

    /// The properties that the module keeps in the status store: what is being installed,
    inline static const String PropertyTargetSoftwareRevision = "TargetSoftwareRevision";
    /// the slot that ran when the installation was requested,
    inline static const String PropertyInstallerSlotName = "InstallerSlotName";
    /// and the slot that a revert went back to.
    inline static const String PropertyRevertedTo = "RevertedTo";

    VersionManager() = default;
    ~VersionManager() = default;
    VersionManager(const VersionManager&) = delete;
    VersionManager& operator=(const VersionManager&) = delete;

    /// Takes over the collaborators and the settings, reads the device's facts and removes a bundle that was
    /// left half transferred. Without a RAUC manager or a device-info service the object counts as
    /// initialized and its version queries fail one by one.
    void Initialize(std::shared_ptr<IUpdaterStatus> updaterStatusStore,
                    std::shared_ptr<DesktopBusManager> raucManager,
                    std::shared_ptr<IDeviceInfoService> deviceInfo, const RaucUpdaterSettings& settings);

    /// Whether `Initialize` found every fact that it needs.
    [[nodiscard]] bool IsInitialized() const noexcept { return initialized; }

    /// The component that the module updates: the device's article name; empty when unknown.
    [[nodiscard]] const String& GetRaucComponentId() const noexcept { return raucComponentId; }

    [[nodiscard]] const String& GetSoftwareManufacturer() const noexcept { return softwareManufacturer; }

    [[nodiscard]] const String& GetSoftwareManufacturerUri() const noexcept
    {
        return softwareManufacturerUri;
    }

    /// Tells the running slot and the version of the bundle in it; once known it is never asked again. The
    /// outputs are always assigned, empty when false is returned.
    [[nodiscard]] bool GetBootedSlot(String& slotName, String& bundleVersion);

    /// Tells the slot that the bootloader takes next, by the rules of `GetBootedSlot`.
    [[nodiscard]] bool GetPrimarySlot(String& slotName);

    /// Tells the booted slot and otherwise, if the settings let it stand in, the primary one.
    [[nodiscard]] bool GetBootedOrPrimarySlot(String& slotName);

    /// The same; keeps the name, even an empty one, as `PropertyInstallerSlotName` and writes a failure as
    /// status message. False also when the property could not be saved, which is told only where the settings
    /// want the booted slot validated.
    [[nodiscard]] bool GetBootedOrPrimarySlotAndUpdateStatus(String& slotName);

    /// Keeps what an installation of `target` is to be compared with after the restart. Returns `Ok`,
    /// `OperationFailed` or `BootedSlotUnavailable`; the reason is the status message, but that is left alone
    /// where the status store refuses the target. Throws as `GetSoftwareVersion`.
    [[nodiscard]] ResultCode SaveVersionInfo(const SoftwareVersionType& target);

    /// Reads a version; `version` is reset first. `NotSupported` for an unknown type, otherwise what the read
    /// gave: `OperationFailed` for the current and the fallback version (at most five reads each; see
    /// `ResetCache`), `NotFound` or `InvalidArgument` for the pending one, whose file is deleted when RAUC
    /// cannot read it or it is for another device; `GeneralError` when a read went well without a device-info
    /// service. Throws `ArgumentException` for a text of 512 characters or more.
    [[nodiscard]] ResultCode GetSoftwareVersion(SoftwareVersionFileType type, SoftwareVersionType& version);

    /// Returns `Ok` when the version of `type` has the manufacturer URI, the software revision and the patch
    /// identifiers of `expected`; `NotFound` when one differs, otherwise the code of `GetSoftwareVersion`.
    /// Throws as that does.
    [[nodiscard]] ResultCode CompareVersion(SoftwareVersionFileType type,
                                            const SoftwareVersionType& expected);

    /// Moves the bundle at `sourcePath` to the temporary path, lets RAUC verify it there and moves it to the
    /// pending update path; queries of the pending version wait meanwhile. `errorMessage` says why it was
    /// refused and is empty otherwise; an earlier pending bundle is left alone then.
    [[nodiscard]] ResultCode SetSoftwarePackage(SoftwareVersionFileType type, const String& sourcePath,
                                                String& errorMessage);

    /// Always `NotSupported`: RAUC does not give bundles back.
    [[nodiscard]] ResultCode GetSoftwarePackage(SoftwareVersionFileType type, const String& path) const;

    /// Forgets the cached version of `type`; for the fallback version also its failed reads, which the
    /// current version keeps on purpose.
    void ResetCache(SoftwareVersionFileType type);

private:
    struct PendingVersionCache
    {
        DateTime lastWriteTime;
        /// Bytes; 0 while nothing is cached.
        std::uint64_t size = 0;
        SoftwareVersionType version;
    };

    struct VersionCache
    {
        SoftwareVersionType version;
        bool valid = false;
        std::uint32_t attempts = 0;
    };

    struct Slot
    {
        bool known = false;
        String name;
        String bundleVersion;
    };

    static constexpr std::uint32_t MaximumAttempts = 5;

    // Device facts.
    [[nodiscard]] bool ReadManufacturer(const RaucUpdaterSettings& settings);
    [[nodiscard]] bool ReadDeviceName();
    [[nodiscard]] bool ReadChangeLogReference(const RaucUpdaterSettings& settings);
    [[nodiscard]] bool TryGetDeviceItem(const char* key, String& text) const;

    // Slots.
    [[nodiscard]] Slot GetKnown(const Slot& slot) const;
    [[nodiscard]] bool AllowUnknownSlot() const;

    // The three getters, called under the version mutex with a reset `version`.
    [[nodiscard]] ResultCode GetVersion(SoftwareVersionFileType type, SoftwareVersionType& version);
    [[nodiscard]] ResultCode GetCurrentVersion(SoftwareVersionType& version);
    [[nodiscard]] ResultCode GetPendingVersion(SoftwareVersionType& version);
    [[nodiscard]] ResultCode GetFallbackVersion(SoftwareVersionType& version);

    [[nodiscard]] static ResultCode ComparePatchIdentifiers(const SoftwareVersionType& actual,
                                                            const SoftwareVersionType& expected);

    // The running version.
    [[nodiscard]] bool ReadCurrentRevision(SoftwareVersionType& version) const;
    void ReadReleaseDate(SoftwareVersionType& version);

    // The pending bundle.
    [[nodiscard]] ResultCode MoveToTemp(const String& sourcePath, String& errorMessage) const;
    [[nodiscard]] ResultCode RefuseTransfer(ResultCode result, const char* message,
                                            const Exception& exception, String& errorMessage) const;
    [[nodiscard]] ResultCode VerifySoftwarePackage(String& errorMessage, String& version);
    [[nodiscard]] ResultCode AcceptPending(const String& bundleVersion, String& errorMessage);
    [[nodiscard]] bool ReadPendingVersion(SoftwareVersionType& version);
    void DeleteInvalidPending();
    [[nodiscard]] bool ValidateCompatible(const String& bundleCompatible);
    [[nodiscard]] bool TryGetPendingVersionFromCache(SoftwareVersionType& version) const;
    void CachePendingVersion(const SoftwareVersionType& version);
    void CleanTempFile() const;

    std::shared_ptr<IDeviceInfoService> deviceInfoService;
    std::shared_ptr<DesktopBusManager> desktopBusManager;
    std::shared_ptr<IUpdaterStatus> updaterStatus;
    /// Guards `systemCompatible`.
    System::Commons::Threading::Mutex compatibleMutex;
    /// Held by `GetSoftwareVersion` for its whole run; guards the version caches.
    System::Commons::Threading::Mutex versionMutex;
    PendingVersionCache pendingVersionCache;
    VersionCache fallbackVersionCache;
    VersionCache currentVersionCache;
    bool initialized = false;
    String pendingUpdatePath;
    String temporaryPath;
    bool validateCompatible = false;
    bool validateBootedSlot = false;
    bool fallbackOnPrimary = false;
    String raucComponentId;
    String softwareManufacturer;
    String softwareManufacturerUri;
    String changeLogReference;
    String systemCompatible;
    Slot bootedSlot;
    Slot primarySlot;
    /// Guards the two slots, never across a call to RAUC.
    mutable System::Commons::Threading::Mutex slotMutex;
    /// Whether the bundle at the pending update path is one for this system.
    bool pendingAccepted = false;
    /// Held for writing while a bundle is moved, for reading while the pending one is looked at; guards the
    /// pending version's cache together with the version mutex.
    System::Commons::Threading::ReadWriteLock pendingFileLock;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal

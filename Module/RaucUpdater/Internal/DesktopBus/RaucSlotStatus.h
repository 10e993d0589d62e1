#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "Zel/DateTime.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdint>
#include <span>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// What RAUC knows of one slot. A plain value; what RAUC did not send is zero or empty. Texts are kept as
/// received.
class RaucSlotStatus : private System::Commons::Diagnostics::Logging::Loggable<RaucSlotStatus>
{
public:
    inline static const String StateBooted = "booted";
    inline static const String StateInactive = "inactive";
    inline static const String BootStatusGood = "good";
    inline static const String StatusOk = "ok";

    /// Reads a message whose argument 0 is a slot's dictionary, of signature "a{sv}".
    [[nodiscard]] bool ReadMessage(const DesktopBusMessage& message);

    /// Reads the dictionary in field 0, entry by entry; false (logged) when that is no array. An entry that
    /// cannot be read is skipped.
    [[nodiscard]] bool ReadFields(std::span<const DesktopBusField> fields);

    /// Stores one entry of the dictionary; returns false and stores nothing for an unknown key or a value of
    /// another type than the key's.
    [[nodiscard]] bool ReadField(const DesktopBusField& field);

    /// Bytes written by the last installation.
    [[nodiscard]] std::uint64_t GetSize() const noexcept { return size; }

    [[nodiscard]] const DateTime& GetInstallDateTime() const noexcept { return installDateTime; }

    /// How often the slot was written.
    [[nodiscard]] std::uint32_t GetInstalledCount() const noexcept { return installedCount; }

    /// Checksum of the image, hexadecimal.
    [[nodiscard]] const String& GetSha256() const noexcept { return sha256; }

    [[nodiscard]] const String& GetBundleBuild() const noexcept { return bundleBuild; }

    [[nodiscard]] const String& GetBundleCompatible() const noexcept { return bundleCompatible; }

    [[nodiscard]] const String& GetBundleVersion() const noexcept { return bundleVersion; }

    [[nodiscard]] const String& GetType() const noexcept { return type; }

    /// The bootloader's name of the slot, for example "A".
    [[nodiscard]] const String& GetBootname() const noexcept { return bootname; }

    [[nodiscard]] const String& GetClass() const noexcept { return slotClass; }

    /// How often the slot was made the one to boot.
    [[nodiscard]] std::uint32_t GetActivatedCount() const noexcept { return activatedCount; }

    [[nodiscard]] const String& GetBundleDescription() const noexcept { return bundleDescription; }

    /// "good" or "bad", as the bootloader thinks; empty for a slot without a bootname.
    [[nodiscard]] const String& GetBootStatus() const noexcept { return bootStatus; }

    [[nodiscard]] const DateTime& GetActivatedDateTime() const noexcept { return activatedDateTime; }

    [[nodiscard]] const String& GetMountpoint() const noexcept { return mountpoint; }

    /// "booted", "active" (belongs to the booted slot) or "inactive".
    [[nodiscard]] const String& GetState() const noexcept { return state; }

    /// "ok" when it was written whole; empty for a slot that RAUC never wrote.
    [[nodiscard]] const String& GetStatus() const noexcept { return status; }

    [[nodiscard]] const String& GetDevice() const noexcept { return device; }

private:
    struct Key;

    [[nodiscard]] static bool ReadTimestamp(const DesktopBusField& field, DateTime& dateTime);

    std::uint64_t size = 0;
    DateTime installDateTime;
    std::uint32_t installedCount = 0;
    String sha256;
    String bundleBuild;
    String bundleCompatible;
    String bundleVersion;
    String type;
    String bootname;
    String slotClass;
    std::uint32_t activatedCount = 0;
    String bundleDescription;
    String bootStatus;
    DateTime activatedDateTime;
    String mountpoint;
    String state;
    String status;
    String device;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

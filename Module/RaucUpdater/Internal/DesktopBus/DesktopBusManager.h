#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "RaucUpdater/Internal/DesktopBus/RaucSlotStatus.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <functional>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

class DesktopBusMethod;

/// The one facade over RAUC. Each operation is one blocking D-Bus call on the caller's thread, sent a second
/// time when the first ended with the error NoReply: after libdbus's timeout (25 s), so that it takes up to
/// 50 s, or at once when RAUC goes. Calls of other threads are waited for before each. Nothing throws for a
/// D-Bus failure: an operation logs the reason where there is one (a bus that has died gives none), returns
/// false and leaves its out-parameters alone.
/// Without an open connection every operation returns false.
///
/// Calls may come from any thread, signal handlers included; `Open` and `Close` from one owner.
class DesktopBusManager : private System::Commons::Diagnostics::Logging::Loggable<DesktopBusManager>
{
public:
    inline static const String DesktopBusDestinationRauc = "de.pengutronix.rauc";
    inline static const String DesktopBusObjectPathRauc = "/";
    inline static const String DesktopBusInterfaceRauc = "de.pengutronix.rauc.Installer";
    inline static const String DesktopBusInterfaceProperties = "org.freedesktop.DBus.Properties";

    /// Whether a slot is the wanted one.
    using SlotPredicate = std::function<bool(const RaucSlotStatus&)>;

    DesktopBusManager();

    /// Closes the connection.
    virtual ~DesktopBusManager();
    DesktopBusManager(const DesktopBusManager&) = delete;
    DesktopBusManager& operator=(const DesktopBusManager&) = delete;

    /// Connects to the system bus and starts to listen for RAUC's signals; see `DesktopBusConnection::Open`.
    [[nodiscard]] bool Open();

    /// Ends both; see `DesktopBusConnection::Close`.
    void Close();

    /// Returns a call to RAUC's installer interface, without arguments.
    [[nodiscard]] static DesktopBusMessage CreateRaucMessage(const String& methodName);

    /// Starts the installation of the bundle file `bundle` (an absolute path); RAUC checks that it is
    /// compatible. True means started: progress and outcome come as signals.
    [[nodiscard]] bool Install(const String& bundle) const;

    /// Asks RAUC to verify the bundle file `bundle` and read its version and compatible string.
    [[nodiscard]] bool GetVersion(const String& bundle, String& version, String& compatible);

    /// The slot that the bootloader tries next, by name, for example "rootfs.0".
    [[nodiscard]] bool GetPrimarySlot(String& slotName) const;

    /// The first slot, by byte-wise order of names, that satisfies `predicate`. False without a log line when
    /// none does. What the predicate throws passes, and an empty one throws `std::bad_function_call`.
    [[nodiscard]] bool GetSlot(const SlotPredicate& predicate, String& slotName,
                               RaucSlotStatus& status) const;

    /// The slot that the system runs from, with the version and the SHA-256 (hexadecimal) of the bundle that
    /// was installed there; both are empty for a slot that RAUC never wrote.
    [[nodiscard]] bool GetBootedSlot(String& slotName, String& version, String& sha256);

    /// The slot to fall back to: not running, known good to the bootloader, and written whole by RAUC.
    [[nodiscard]] bool GetOtherValidSlot(String& slotName, String& version, String& sha256);

    /// Makes `slotName` the one that the bootloader tries next.
    [[nodiscard]] bool SwitchSlot(const String& slotName) const;

    /// True only when RAUC answers and says that it is idle.
    [[nodiscard]] bool CanInstall() const;

    /// The compatible string of the system that runs.
    [[nodiscard]] bool GetCompatible(String& compatible) const;

private:
    /// Sends a call with one retry, unless there is no connection.
    [[nodiscard]] bool Call(DesktopBusMethod& method) const;

    /// The same for a call without arguments and one text as its result.
    template <typename Method>
    [[nodiscard]] bool CallForText(const String& (Method::*getText)() const noexcept, String& text) const;

    [[nodiscard]] bool GetSlotBundle(const SlotPredicate& predicate, String& slotName, String& version,
                                     String& sha256) const;

    DesktopBusConnection connection;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

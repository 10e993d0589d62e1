#pragma once

#include "Zel/Services/SoftwareUpdate/SoftwareUpdateStatus.h"
#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <cstdint>

namespace Zel::Services::SoftwareUpdate
{

/// The service's status store, one record per component, as the updater modules see it. Installation state
/// and properties survive a restart of the device. Component IDs are one record whatever their letter case.
/// Implementations are thread-safe; what a call wrote is durable when it returns. The order of the operations
/// is fixed.
class ZEL_API IUpdaterStatus
{
public:
    virtual ~IUpdaterStatus();

    /// Fills `status` and returns true; false, `status` untouched, when the record cannot be read.
    [[nodiscard]] virtual bool GetStatus(const String& componentId, SoftwareUpdateStatus& status) = 0;

    /// Sets the status text, cut at 511 bytes on a character's boundary. `newStory` first drops what was
    /// shown before, progress included.
    virtual void SetMessage(const String& componentId, const String& message, bool newStory) = 0;

    /// Sets the progress in percent.
    virtual void SetProgress(const String& componentId, int percentage) = 0;

    /// Takes the state from idle to installing; false, nothing changed, from any other state or when it
    /// cannot be saved. `installation` is false for a revert.
    [[nodiscard]] virtual bool BeginInstallation(const String& componentId, bool installation) = 0;

    /// Takes the state from installing to idle on success and to failed otherwise.
    virtual void EndInstallation(const String& componentId, bool success) = 0;

    /// Takes the state from failed to idle; false, nothing changed, from any other state or when it cannot be
    /// saved.
    [[nodiscard]] virtual bool ResumeInstallation(const String& componentId) = 0;

    /// Saves a text under a name of the module's; an empty value deletes it. `persistent` keeps it across a
    /// restart. Returns false, nothing changed, when it cannot be saved.
    [[nodiscard]] virtual bool WriteProperty(const String& componentId, const String& propertyName,
                                             const String& value, bool persistent) = 0;

    /// Reads a property; `value` becomes empty when it is not set.
    virtual void ReadProperty(const String& componentId, const String& propertyName, String& value) = 0;

    /// Returns the seconds within which a new version has to be confirmed, 0 for no limit.
    [[nodiscard]] virtual std::uint32_t GetConfirmationTimeout(const String& componentId) = 0;
};

} // namespace Zel::Services::SoftwareUpdate

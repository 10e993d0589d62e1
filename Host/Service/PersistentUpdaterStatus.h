#pragma once

#include "Service/StatusStore.h"

#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace Zel::Host::Service
{

/// What the service shows of a component's status.
struct ComponentStatus
{
    ComponentRecord record;
    /// At most 511 bytes.
    String message;
    /// Percent, and the message that stood when it was reported.
    int progress = 0;
    String progressText;
    std::optional<Verdict> lastVerdict;
};

/// The status store as the modules see it: state and properties in the store, messages, progress and
/// properties that need not persist in memory. Thread-safe; a failure of the database is logged at error
/// level and gives false, or nothing changed.
class PersistentUpdaterStatus
    : public Services::SoftwareUpdate::IUpdaterStatus,
      private System::Commons::Diagnostics::Logging::Loggable<PersistentUpdaterStatus>
{
public:
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;
    /// Called on the writing thread, without a lock, after something that is shown has changed.
    using ChangeHandler = std::function<void(const String& componentId)>;

    /// The property whose writing tells that the slot an installation starts from is recorded.
    inline static const String InstallerSlotProperty = "InstallerSlotName";
    /// The property that holds the version to be installed.
    inline static const String TargetVersionProperty = "TargetSoftwareRevision";
    /// The most bytes of a message.
    static constexpr std::size_t MaximumMessage = 511;

    /// `bootId` names the present boot; `confirmationTimeout` is in seconds, 0 for none.
    PersistentUpdaterStatus(std::shared_ptr<StatusStore> store, String bootId,
                            std::uint32_t confirmationTimeout, ChangeHandler changeHandler);
    ~PersistentUpdaterStatus() override;
    PersistentUpdaterStatus(const PersistentUpdaterStatus&) = delete;
    PersistentUpdaterStatus& operator=(const PersistentUpdaterStatus&) = delete;

    [[nodiscard]] bool GetStatus(const String& componentId, SoftwareUpdateStatus& status) override;
    void SetMessage(const String& componentId, const String& message, bool newStory) override;
    void SetProgress(const String& componentId, int percentage) override;
    [[nodiscard]] bool BeginInstallation(const String& componentId, bool installation) override;
    void EndInstallation(const String& componentId, bool success) override;
    [[nodiscard]] bool ResumeInstallation(const String& componentId) override;
    [[nodiscard]] bool WriteProperty(const String& componentId, const String& propertyName,
                                     const String& value, bool persistent) override;
    void ReadProperty(const String& componentId, const String& propertyName, String& value) override;
    [[nodiscard]] std::uint32_t GetConfirmationTimeout(const String& componentId) override;

    /// Says when the next installation that begins is due, in microseconds since 1970 in UTC; 0 for at once.
    void SetDueTime(const String& componentId, std::int64_t dueTime);

    /// Takes the state from installing to idle without a verdict, for an installation that RAUC was not asked
    /// for; false from any other state, and where the store fails.
    [[nodiscard]] bool CallOff(const String& componentId);

    /// Returns what is shown; nothing (logged) when the record cannot be read.
    [[nodiscard]] std::optional<ComponentStatus> GetComponentStatus(const String& componentId);

    [[nodiscard]] const String& GetBootId() const noexcept { return bootId; }

private:
    /// What is known of a component in memory only.
    struct Volatile
    {
        String message;
        int progress = 0;
        String progressText;
        std::int64_t dueTime = 0;
        std::map<String, String> properties;
    };

    /// Runs `operation` on the store; false when that failed, which was logged with the name `what`.
    template <typename Operation>
    [[nodiscard]] bool TryStore(const char* what, const Operation& operation) const;
    [[nodiscard]] Volatile& GetVolatile(const String& componentId);
    [[nodiscard]] String GetMessage(const String& componentId);
    void NotifyChange(const String& componentId) const;

    const std::shared_ptr<StatusStore> store;
    const String bootId;
    const std::uint32_t confirmationTimeout;
    const ChangeHandler changeHandler;
    std::mutex mutex;
    std::map<String, Volatile> components;
};

} // namespace Zel::Host::Service

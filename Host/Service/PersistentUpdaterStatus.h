#pragma once

#include "Service/ComponentRecord.h"
#include "Service/StatusStore.h"

#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

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
    Verdict lastVerdict;
    /// Whether the store could not keep the end of what is running.
    bool endLost = false;
};

/// The status store as the modules see it: state and properties in the store, messages, progress and
/// properties that need not persist in memory. A component's record and last verdict are in memory as well,
/// as soon as they could be read once, and always as the store has taken them: asking for them does not wait
/// for a writer, whose sync may take seconds. Thread-safe; a failure of the database is logged at error level
/// and gives false, or nothing changed.
class PersistentUpdaterStatus
    : public Services::SoftwareUpdate::IUpdaterStatus,
      private System::Commons::Diagnostics::Logging::Loggable<PersistentUpdaterStatus>
{
public:
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;
    /// Called on the writing thread, without a lock, after something that is shown has changed.
    using ChangeHandler = std::function<void(const String& componentId)>;

    /// What the service knows of the next installation or revert and the module does not tell.
    struct Upcoming
    {
        String caller;
        bool fallback = false;
        /// Versions.
        String from;
        String to;
        /// Microseconds since 1970 in UTC; 0 for at once.
        std::int64_t dueTime = 0;
        /// Before this moment RAUC is not asked for it.
        std::chrono::steady_clock::time_point startTime{};
    };

    /// The most bytes of a message.
    static constexpr std::size_t MaximumMessage = decltype(SoftwareUpdateStatus::message)::Capacity;

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

    /// As `StatusStore` does.
    [[nodiscard]] bool KeepForCallOff(const String& componentId);

    /// Says what is going to begin next.
    void SetUpcoming(const String& componentId, Upcoming upcoming);

    /// Says how the bootloader calls the slot that the device runs from; an empty name changes nothing.
    void SetBootSlot(const String& name);

    /// Adds a step to the history of what is running.
    void AddStep(const String& componentId, const String& text);
    /// Notes, durably, that the restart is ordered which ends what is running.
    void AddRestart(const String& componentId);
    /// Returns the latest entries, the newest one first; none (logged) when they cannot be read.
    [[nodiscard]] std::vector<HistoryEntry> GetHistory(const String& componentId, std::uint32_t limit);

    /// As the store's; nothing (logged) as well when that cannot be asked.
    [[nodiscard]] std::optional<String> FindEarlierVersion(const String& componentId,
                                                           const String& runningVersion);

    /// Takes the state from installing to idle without a verdict, for an installation that RAUC was not asked
    /// for; false from any other state, and where the store fails.
    [[nodiscard]] bool CallOff(const String& componentId, const String& reason);

    /// Suspends an installation that waits for its time; false when none does, and where the store fails.
    [[nodiscard]] bool Suspend(const String& componentId);

    /// Ends what is running, when the store could not keep its end.
    void RetryEnd(const String& componentId);

    /// Returns what is shown, from memory; nothing (logged) while the store has not told the record.
    [[nodiscard]] std::optional<ComponentStatus> GetComponentStatus(const String& componentId);

    /// Returns a property, empty when it is not set; nothing (logged) when it cannot be read.
    [[nodiscard]] std::optional<String> FindProperty(const String& componentId, const String& propertyName);

    [[nodiscard]] const String& GetBootId() const noexcept { return bootId; }

private:
    struct Ending
    {
        bool success = false;
        /// Why not.
        String reason;
    };

    /// What the store has taken.
    struct Kept
    {
        ComponentRecord record;
        Verdict lastVerdict;
    };

    /// What is known of a component in memory only.
    struct Transient
    {
        /// Of what is running, when it was begun in this process.
        std::chrono::steady_clock::time_point startTime;
        String message;
        int progress = 0;
        String progressText;
        Upcoming upcoming;
        /// The last one that was added to the history.
        String step;
        std::optional<Ending> lostEnd;
        std::map<String, String> properties;
    };

    /// Runs `operation` on the store; false when that failed, which was logged with the name `what`.
    template <typename Operation>
    [[nodiscard]] bool TryStore(const char* what, const Operation& operation) const;
    /// The same for one that changes the component, which is in memory then, too.
    template <typename Operation>
    [[nodiscard]] bool TryChange(const char* what, const String& componentId, const Operation& operation);
    /// Reads into memory what the store has; the caller holds `changing`.
    void Learn(const char* what, const String& componentId);
    [[nodiscard]] std::optional<ComponentStatus> Recall(const String& componentId);
    [[nodiscard]] Transient& GetTransient(const String& componentId);
    [[nodiscard]] String GetMessage(const String& componentId);
    [[nodiscard]] Beginning MakeBeginning(const String& componentId, bool installation);
    [[nodiscard]] String JudgeFailure(const ComponentRecord& record);
    void End(const String& componentId, const Ending& ending);
    /// Whether RAUC cannot have been asked for what is running.
    [[nodiscard]] bool Waits(const String& componentId);
    void NotifyChange(const String& componentId) const;

    const std::shared_ptr<StatusStore> store;
    const String bootId;
    const std::uint32_t confirmationTimeout;
    const ChangeHandler changeHandler;
    /// Held from a change in the store until it is in memory, so that changes come there in their order;
    /// locked before the store's own lock and before `mutex`, which are never held together.
    std::mutex changing;
    std::mutex mutex;
    /// None while the store has not told.
    std::map<String, Kept> keptComponents;
    std::map<String, Transient> components;
    String bootSlot;
};

} // namespace Zel::Host::Service

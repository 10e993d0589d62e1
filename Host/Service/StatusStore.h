#pragma once

#include "Service/Database.h"

#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/String.h"
#include "Zel/System/Nm/NotificationManager.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// What the store keeps of one component.
struct ComponentRecord
{
    using State = Services::SoftwareUpdate::InstallationState;

    State state = State::Idle;
    bool revertible = false;
    /// Whether the last thing that was begun is an installation, not a revert.
    bool begunAsInstallation = false;
    /// Whether the slot is recorded that the installation or revert which is running starts from: without it
    /// RAUC was not asked for anything yet.
    bool prepared = false;
    /// The boot in which it was begun.
    String bootId;
    /// When a delayed installation starts, in microseconds since 1970 in UTC; 0 without a delay.
    std::int64_t dueTime = 0;
};

/// How an installation or a revert ended.
struct Verdict
{
    bool succeeded = false;
    String version;
    /// Why it failed; empty for a success.
    String reason;
    /// Microseconds since 1970 in UTC.
    std::int64_t time = 0;
};

/// The service's memory across restarts: one SQLite file, durable when an operation returns. Component IDs
/// are one record whatever their letter case; an idle record is created on first use. Thread-safe. Every
/// failure of the database throws `DatabaseException`.
class StatusStore
{
public:
    using Notification = System::Nm::Notification;

    /// What is kept of notifications and of verdicts; older ones are forgotten.
    static constexpr std::int64_t MaximumNotifications = 1000;
    static constexpr std::int64_t MaximumVerdicts = 200;

    /// Opens or creates "status.sqlite" in `folder`, which is created with mode 0700, and given that mode,
    /// if need be. Throws `IoException` where the folder cannot be had, `DatabaseException` for a damaged
    /// file and for one of a newer service.
    explicit StatusStore(const String& folder);

    [[nodiscard]] ComponentRecord GetComponent(const String& componentId);

    /// Takes the state from idle to installing; false, nothing changed, from any other state. `dueTime` as in
    /// the record. A revert counts as prepared, because its slot was recorded by the installation.
    [[nodiscard]] bool Begin(const String& componentId, bool installation, const String& bootId,
                             std::int64_t dueTime);

    /// Takes the state from installing to idle for a success and to failed otherwise, and records the verdict
    /// with the version of the property `versionProperty`. False, nothing changed, from any other state.
    [[nodiscard]] bool End(const String& componentId, const String& versionProperty, bool succeeded,
                           const String& reason);

    /// Takes the state from failed to idle; false, nothing changed, from any other state.
    [[nodiscard]] bool Resume(const String& componentId);

    /// Takes the state from installing to idle without a verdict, for what RAUC was not asked for; false,
    /// nothing changed, from any other state.
    [[nodiscard]] bool CallOff(const String& componentId);

    /// Marks what is running as prepared; does nothing in any other state.
    void SetPrepared(const String& componentId);

    /// An empty value deletes the property.
    void WriteProperty(const String& componentId, const String& name, const String& value);
    /// Returns an empty text for a property that is not set.
    [[nodiscard]] String ReadProperty(const String& componentId, const String& name);

    void AddNotification(const Notification& notification);
    /// Returns the latest notifications, the newest one first.
    [[nodiscard]] std::vector<Notification> GetNotifications(std::int64_t limit);

    [[nodiscard]] std::optional<Verdict> GetLastVerdict(const String& componentId);

private:
    void CreateSchema();
    [[nodiscard]] std::int64_t GetComponentKey(const String& componentId);

    std::mutex mutex;
    Database database;
};

} // namespace Zel::Host::Service

#pragma once

#include "Api/SoftwareUpdate1.h"
#include "Service/ComponentRecord.h"
#include "Service/Database.h"
#include "Service/HistoryEntry.h"

#include "Zel/String.h"
#include "Zel/System/Nm/NotificationManager.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// The service's memory across restarts: one SQLite file, durable when an operation returns. Component IDs
/// are one record whatever their letter case; an idle record is created on first use. Thread-safe. Every
/// failure of the database throws `DatabaseException`.
class StatusStore
{
public:
    using Notification = System::Nm::Notification;

    inline static const String FileName = "status.sqlite";
    /// The properties in which a module keeps the version that it installs and the slot that it starts from.
    inline static const String TargetVersionProperty = "TargetSoftwareRevision";
    inline static const String InstallerSlotProperty = "InstallerSlotName";
    /// The one by which it knows that an installation was reverted already.
    inline static const String RevertedToProperty = "RevertedTo";

    /// What is kept of notifications, of the history and of one entry's steps; older entries are forgotten,
    /// later steps are dropped.
    static constexpr std::int64_t MaximumNotifications = 1000;
    static constexpr std::int64_t MaximumEntries = 200;
    static constexpr std::int64_t MaximumSteps = 100;

    /// Opens or creates the file in `folder`, which is created with mode 0700, and given that mode, if need
    /// be. A file that is damaged, or that a newer service wrote in a way that this one cannot read, is
    /// set aside as one of that kind ("damaged", "newer"), and the store begins empty. Throws `IoException`
    /// where the folder cannot be had.
    explicit StatusStore(const String& folder);

    /// Says why a file was set aside and where it is now; empty where none was.
    [[nodiscard]] const String& GetDamage() const noexcept { return damage; }

    [[nodiscard]] ComponentRecord GetComponent(const String& componentId);

    /// Takes the state from idle to installing, and begins an entry of the history, or goes on with that of a
    /// suspended installation; false, nothing changed, from any other state. A revert counts as prepared,
    /// because its slot was recorded by the installation.
    [[nodiscard]] bool Begin(const String& componentId, const Beginning& beginning);

    /// Takes the state from installing, or suspended, to idle for a success and to failed otherwise, and ends
    /// the entry of the history with the result. False, nothing changed, from any other state.
    [[nodiscard]] bool End(const String& componentId, bool succeeded, const String& result,
                           const String& reason);

    /// Takes the state from failed to idle; false, nothing changed, from any other state.
    [[nodiscard]] bool Resume(const String& componentId);

    /// Keeps what a revert would go back to now for `CallOff`, until an installation ends: a module forgets
    /// it when it is asked for one.
    void KeepForCallOff(const String& componentId);

    /// Takes the state from installing, or suspended, to idle without a verdict, for what RAUC was not asked
    /// for; a revert goes back to what was kept, where something was. False, nothing changed, from any other
    /// state.
    [[nodiscard]] bool CallOff(const String& componentId, const String& reason);

    /// Suspends an installation that waits for its time; false, nothing changed, when none does.
    [[nodiscard]] bool Suspend(const String& componentId);

    /// An empty value deletes the property. Whatever the value of `InstallerSlotProperty`, it marks what is
    /// running as prepared.
    void WriteProperty(const String& componentId, const String& name, const String& value);
    /// Returns an empty text for a property that is not set.
    [[nodiscard]] String ReadProperty(const String& componentId, const String& name);

    void AddNotification(const Notification& notification);
    /// Returns the latest notifications, the newest one first.
    [[nodiscard]] std::vector<Notification> GetNotifications(std::int64_t limit);

    /// Adds to what is running, which waits no longer then unless `waits` is set; does nothing when nothing
    /// is.
    void AddStep(const String& componentId, const String& text, bool waits = false);
    /// Adds the step that the restart is ordered; the restart belongs to somebody else's installation where
    /// `waits` is set.
    void AddRestart(const String& componentId, bool waits = false);
    /// Returns the latest entries, the newest one first.
    [[nodiscard]] std::vector<HistoryEntry> GetHistory(const String& componentId, std::int64_t limit);
    [[nodiscard]] Verdict GetLastVerdict(const String& componentId);
    /// Returns what the last installation that brought `runningVersion` was made from; nothing where the
    /// history knows of none.
    [[nodiscard]] std::optional<String> FindEarlierVersion(const String& componentId,
                                                           const String& runningVersion);

private:
    [[nodiscard]] static std::unique_ptr<Database> Open(const String& path, String& damage);
    [[nodiscard]] std::int64_t GetComponentKey(const String& componentId);
    [[nodiscard]] bool Finish(const String& componentId, ComponentRecord::State state, const String& result,
                              const String& reason);
    /// The following belong to a transaction of the caller's.
    void InsertStep(std::int64_t component, const String& text);
    void BeginEntry(std::int64_t component, const Beginning& beginning);
    void EndEntry(std::int64_t component, const String& result, const String& reason);
    [[nodiscard]] String GetProperty(std::int64_t component, const String& name);
    void SetProperty(std::int64_t component, const String& name, const String& value);
    /// Forgets what `KeepForCallOff` has kept, and has a revert go back to it first with `restore`.
    void ReleaseKept(std::int64_t component, bool restore);

    String damage;
    std::mutex mutex;
    std::unique_ptr<Database> database;
};

} // namespace Zel::Host::Service

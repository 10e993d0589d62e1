#pragma once

#include "Service/ComponentSnapshot.h"
#include "Service/ModuleCalls.h"
#include "Service/PersistentUpdaterStatus.h"

#include "Zel/String.h"

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// What clients see of a component, made of its record, of what its module told and of what the component is
/// about. Tells of changes; what they lead to is the component's. Used on the loop's thread.
class ComponentView
{
public:
    using ChangeHandler = std::function<void(const std::vector<String>& properties)>;
    using VerdictHandler = std::function<void(const Verdict& verdict)>;

    /// What the record does not tell.
    struct Facts
    {
        /// Whether the module is initialized and its versions were read.
        bool ready = false;
        /// Whether the device is restarted instead.
        bool restarting = false;
        bool restartFailed = false;
        /// The present boot.
        String bootId;
        /// Before this moment the module does not start the installation that it was asked for last; not
        /// known while it was not asked.
        std::optional<std::chrono::steady_clock::time_point> startTime;
    };

    struct Change
    {
        /// Set where it is not the one that was shown before.
        std::optional<Verdict> verdict;
        /// Whether an installation or revert was shown that is not any more, and whether that waited for its
        /// time in a module.
        bool ended = false;
        bool endedWhileWaiting = false;
    };

    /// Shows what the status says.
    Change Show(const ComponentStatus& status, const Facts& facts);
    /// Shows the versions that were read; the others stay.
    void Show(const ModuleVersions& versions);

    /// Has `handler` called with the names of the properties that changed, after each change.
    void SetChangeHandler(ChangeHandler handler) { changeHandler = std::move(handler); }

    /// Has `handler` called with each verdict that is told.
    void SetVerdictHandler(VerdictHandler handler) { verdictHandler = std::move(handler); }

    void Tell(const Verdict& verdict);
    /// Tells the last verdict, when that was reached before there was a handler.
    void TellEarlierVerdict();

    [[nodiscard]] const ComponentSnapshot& GetSnapshot() const noexcept { return snapshot; }

private:
    [[nodiscard]] static bool IsWaiting(const ComponentRecord& record, const Facts& facts);
    /// Of a component that does not wait.
    [[nodiscard]] static const String& FindActivity(const ComponentRecord& record, const Facts& facts);
    void Replace(const ComponentSnapshot& next);

    ComponentSnapshot snapshot;
    std::optional<bool> moduleRevertible;
    /// Whether they were read once.
    bool pendingKnown = false;
    bool fallbackKnown = false;
    /// Whether the installation that is shown waits, and no module knows of it.
    bool suspended = false;
    bool verdictKnown = false;
    /// Reached when nobody could be told.
    std::optional<Verdict> untoldVerdict;
    ChangeHandler changeHandler;
    VerdictHandler verdictHandler;
};

} // namespace Zel::Host::Service

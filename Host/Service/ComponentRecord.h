#pragma once

#include "Api/SoftwareUpdate1.h"
#include "Service/HistoryEntry.h"

#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/String.h"

#include <cstdint>

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
    /// The boot in which it was begun, and the name that the bootloader has for that boot's slot; empty where
    /// that was not known.
    String bootId;
    String bootSlot;
    /// When a delayed installation starts, in microseconds since 1970 in UTC; 0 without a delay, and as soon
    /// as RAUC has begun or the restart is ordered.
    std::int64_t dueTime = 0;
    /// Whether the restart was ordered that ends what is running.
    bool restartOrdered = false;

    /// Whether an installation waits for its time that no module knows of: one has to be asked for it again.
    [[nodiscard]] bool IsSuspended() const { return state == State::Idle && dueTime != 0; }
};

/// What is known of an installation or a revert when it begins.
struct Beginning
{
    bool installation = true;
    /// The present boot, and the name that the bootloader has for its slot; empty where that is not known.
    String bootId;
    String bootSlot;
    /// As in the record; a revert has none.
    std::int64_t dueTime = 0;
    /// As in the history.
    String kind = Api::Kind::Install;
    String caller;
    String from;
    String to;
};

} // namespace Zel::Host::Service

#pragma once

#include "Zel/String.h"

#include <functional>

namespace Zel::Host::Service
{

/// Whether RAUC would answer a question now.
enum class RaucState
{
    /// It answers, and is not busy.
    Resting,
    /// It answers, and does something else.
    Busy,
    /// It is there, and does not answer in time.
    Silent,
    /// It is not there.
    Absent
};

/// Says it, for people.
[[nodiscard]] const char* Describe(RaucState state);

/// What RAUC answered to the question which slot it boots next.
struct RaucAnswer
{
    RaucState state = RaucState::Absent;
    /// That slot's name, for example "rootfs.1"; empty where RAUC did not tell.
    String primarySlot;
    /// The bootloader's name of the slot that the device runs from, for example "A"; empty where RAUC did not
    /// tell.
    String bootSlot;
};

/// Called once, on the loop's thread.
using RaucAnswerHandler = std::function<void(const RaucAnswer& answer)>;

/// Asks RAUC itself; on the loop's thread, returns at once.
using RaucProbe = std::function<void(RaucAnswerHandler handler)>;

} // namespace Zel::Host::Service

#pragma once

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

/// Called once, on the loop's thread.
using RaucStateHandler = std::function<void(RaucState state)>;

/// Asks RAUC itself; on the loop's thread, returns at once.
using RaucProbe = std::function<void(RaucStateHandler handler)>;

} // namespace Zel::Host::Service

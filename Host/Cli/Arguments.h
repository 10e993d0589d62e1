#pragma once

#include "Zel/String.h"

#include <chrono>
#include <optional>

namespace Zel::Host::Cli
{

struct Verb;

/// A call of the program, taken apart and checked.
struct Arguments
{
    /// The row of the table of verbs.
    const Verb* verb = nullptr;
    bool json = false;
    /// Not set for the only component.
    std::optional<String> component;
    /// The bundle to stage first.
    std::optional<String> file;
    bool fallback = false;
    std::chrono::milliseconds delay{0};
    bool noWait = false;
};

} // namespace Zel::Host::Cli

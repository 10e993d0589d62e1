#pragma once

#include "Cli/Output.h"

#include "Zel/String.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace Zel::Host::Cli
{

struct Verb;

/// A call of the program, taken apart and checked.
struct Arguments
{
    /// The row of the table of verbs.
    const Verb* verb = nullptr;
    OutputStyle style;
    /// Not set for the only component.
    std::optional<String> component;
    /// A bundle's path, "-" for standard input.
    std::optional<String> file;
    bool fallback = false;
    std::chrono::milliseconds delay{0};
    /// When an installation is to start; instead of the delay.
    std::optional<std::chrono::system_clock::time_point> start;
    bool noWait = false;
    /// Do not ask.
    bool yes = false;
    bool restartExitCode = false;
    std::optional<std::chrono::milliseconds> timeout;
    bool watch = false;
    std::uint32_t count = 10;
    bool steps = false;
    /// What to explain.
    String code;
};

} // namespace Zel::Host::Cli

#pragma once

#include "Zel/String.h"

#include <chrono>

namespace Zel::Host::Cli
{

/// Returns the time that `text` stands for: a whole number and "s", "min" or "h", without a unit seconds
/// ("90", "90s", "5min", "2h"). Throws `CommandError` (usage) for everything else and for 2^32 ms (about 49
/// days 17 hours) or more, which the updater cannot wait for.
[[nodiscard]] std::chrono::milliseconds ParseDelay(const String& text);

} // namespace Zel::Host::Cli

#pragma once

#include "Zel/String.h"

#include <chrono>

namespace Zel::Host::Cli
{

/// Returns the time that `text` stands for: a whole number and "s", "min" or "h", without a unit seconds
/// ("90", "90s", "5min", "2h"). Throws `CommandError` (usage) for everything else and for 2^32 ms (about 49
/// days 17 hours) or more, which the updater cannot wait for. `what` names it in the error, for example
/// "delay".
[[nodiscard]] std::chrono::milliseconds ParseSpan(const String& text, const char* what);

/// Returns the moment that `text` stands for: "HH:MM", the next time that the clock shows it, or a date and
/// time as ISO 8601; both are local time unless an offset or "Z" is there. Throws `CommandError` (usage) for
/// everything else, for a local date and time that the clock skips, and for what is before `now` or 2^32 ms
/// or more after it.
[[nodiscard]] std::chrono::system_clock::time_point ParseStart(const String& text,
                                                               std::chrono::system_clock::time_point now);

} // namespace Zel::Host::Cli

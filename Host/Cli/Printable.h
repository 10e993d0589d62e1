#pragma once

#include "Zel/String.h"

#include <cstddef>

namespace Zel::Host::Cli
{

/// Returns `text` made safe for a terminal: control characters and what is not UTF-8 become visible escapes
/// ("\x1B"); blanks and line ends at the end are cut off.
[[nodiscard]] String Printable(const String& text);

/// Returns the number of UTF-8 characters: the columns that `text` takes, wide and combining characters
/// aside.
[[nodiscard]] std::size_t CountColumns(const String& text);

/// Returns the beginning of `text` in at most `columns` columns, with ".." at its end where it was cut and
/// that fits.
[[nodiscard]] String FitColumns(const String& text, std::size_t columns);

} // namespace Zel::Host::Cli

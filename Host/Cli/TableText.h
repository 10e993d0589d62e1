#pragma once

#include "Cli/Report.h"

#include "Zel/String.h"

#include <vector>

namespace Zel::Host::Cli
{

/// Returns a table as lines with aligned columns below their headings, "-" where there is no value, and what
/// belongs to a row indented below it; nothing for a table without rows. Made safe for a terminal.
[[nodiscard]] std::vector<String> ToTextLines(const Table& table);

} // namespace Zel::Host::Cli

#pragma once

#include "Rows/Rows.h"

namespace Zel::Benchmarks
{

/// Measures a row in a child process: libdbus keeps the first bus address that it sees, and memory is
/// measured from a fresh start. A row that cannot be measured gives one result that says why.
[[nodiscard]] Results MeasureInProcess(const Row& row, const Effort& effort);

} // namespace Zel::Benchmarks

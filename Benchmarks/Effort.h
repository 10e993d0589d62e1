#pragma once

#include "Zel/String.h"

#include <cstddef>

namespace Zel::Benchmarks
{

/// How much is measured.
struct Effort
{
    /// Rounds of each comparison, of which the median counts.
    int rounds = 11;
    /// Seconds that each contender of an in-process comparison works in a round, at least.
    double roundSeconds = 0.1;
    /// Calls of the row "no-lost-reply".
    std::size_t calls = 1'000'000;
    /// Seconds that the row "readers" reads.
    int readSeconds = 30;
    /// Where the rows "transfer-*" keep their file systems.
    String folder = "/tmp";
};

/// For a look in between; its numbers are no results.
inline const Effort QuickEffort{3, 0.02, 20'000, 3};

} // namespace Zel::Benchmarks

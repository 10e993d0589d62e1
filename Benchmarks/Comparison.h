#pragma once

#include "Effort.h"
#include "Zel/String.h"

#include <functional>
#include <vector>

namespace Zel::Benchmarks
{

/// One way to do the work that is compared.
struct Contender
{
    String name;
    /// Does it once.
    std::function<void()> work;
    /// Makes ready for it, unmeasured. Only for `CompareElapsedTime`.
    std::function<void()> prepare = nullptr;
};

/// The contenders' medians, in their order and in nanoseconds for one time of the work.
using Medians = std::vector<double>;

/// Measures the processor time of this thread, for work that happens in it. The contenders' rounds are
/// interleaved in random order.
[[nodiscard]] Medians CompareProcessorTime(const std::vector<Contender>& contenders, const Effort& effort);

/// Measures by the clock, for work that waits for other processes: a round does each contender's once, in
/// alternating order. One more round before them is not counted.
[[nodiscard]] Medians CompareElapsedTime(const std::vector<Contender>& contenders, const Effort& effort);

/// Of an odd or even number of values, at least one.
[[nodiscard]] double Median(std::vector<double> values);

} // namespace Zel::Benchmarks

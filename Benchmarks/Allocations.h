#pragma once

#include <cstdint>
#include <functional>

namespace Zel::Benchmarks
{

/// Returns how often `work` takes memory on this thread: every malloc, calloc and realloc, those of C
/// libraries included.
[[nodiscard]] std::uint64_t CountAllocations(const std::function<void()>& work);

} // namespace Zel::Benchmarks

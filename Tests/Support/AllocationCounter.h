#pragma once

#include <cstddef>

namespace Zel::Tests::Support
{

/// Returns how often the calling thread allocated memory with `new` so far. A program that uses this counts
/// in its own operators `new` and `delete`.
[[nodiscard]] std::size_t GetAllocationCount() noexcept;

} // namespace Zel::Tests::Support

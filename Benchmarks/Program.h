#pragma once

#include "Zel/String.h"

#include <vector>

namespace Zel::Benchmarks
{

/// Runs a program, found by PATH, to its end; what it prints is dropped. Throws `Exception` when it fails.
void RunProgram(const std::vector<String>& arguments);

/// The same; returns what it printed on standard output.
[[nodiscard]] String ReadProgram(const std::vector<String>& arguments);

/// Returns what can be read from a descriptor up to its end.
[[nodiscard]] String ReadAll(int descriptor);

} // namespace Zel::Benchmarks

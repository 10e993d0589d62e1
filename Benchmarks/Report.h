#pragma once

#include "Effort.h"
#include "Result.h"

#include <ostream>

namespace Zel::Benchmarks
{

/// Writes the results as an aligned table of Markdown, which a terminal shows as well.
void WriteTable(std::ostream& output, const Results& results);

/// Whether every goal was measured and met.
[[nodiscard]] bool AreAllMet(const Results& results);

/// Throws `Exception` for a document that `UpdateDocument` has no place in, or that cannot be written.
void CheckDocument(const String& path);

/// Puts the results, and the facts of the machine that they were measured on, in the place of the part of a
/// document that lies between its two marks; what else it says stays. Throws as `CheckDocument`.
void UpdateDocument(const String& path, const Results& results, const Effort& effort);

} // namespace Zel::Benchmarks

#pragma once

#include "Cli/InterruptSignals.h"
#include "Cli/Output.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Asks a question on the terminal and returns whether the answer, one line, is "y" or "yes" in any letter
/// case. Throws `Interrupted`.
[[nodiscard]] bool AskOperator(Output& output, const InterruptSignals& interrupts, const String& question);

} // namespace Zel::Host::Cli

#pragma once

#include "Cli/ComponentState.h"
#include "Cli/Report.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Returns a report about a component with what comes next in its state.
[[nodiscard]] Report MakeReport(const ComponentState& state, const String& outcome, const String& summary,
                                ExitCode exitCode = ExitCode::Done);

} // namespace Zel::Host::Cli

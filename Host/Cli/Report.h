#pragma once

#include "Cli/ComponentState.h"
#include "Cli/ExitCode.h"

#include "Zel/String.h"

#include <optional>

namespace Zel::Host::Cli
{

/// Which facts of the component a report shows.
enum class FactSet
{
    None,
    Versions,
    All
};

/// How a command ended: everything that is said at its end, in words and as JSON. All texts are as received.
struct Report
{
    ExitCode exitCode = ExitCode::Done;
    /// One stable word for scripts, for example "restarting" or "nothing-to-do"; "error" for what was
    /// refused.
    String outcome;
    /// What happened, in one or two sentences; may be empty where the facts tell it.
    String summary;
    /// What comes next, one sentence: the last line.
    String next;
    /// The D-Bus error behind a failure, without the service's prefix; otherwise empty.
    String errorName;
    /// The component that was chosen, at the command's end.
    std::optional<ComponentState> component;
    FactSet facts = FactSet::None;
    /// The signal that the process ends by after the report; 0 for none.
    int signalNumber = 0;
};

} // namespace Zel::Host::Cli

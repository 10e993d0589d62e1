#pragma once

#include "Cli/Report.h"
#include "Cli/Session.h"

#include <string_view>
#include <vector>

namespace Zel::Host::Cli
{

/// What a verb accepts besides the options of all verbs.
enum class VerbOption
{
    File,
    Fallback,
    Delay,
    NoWait
};

/// One verb of the program: a row of the table.
struct Verb
{
    const char* name;
    /// One line for the help.
    const char* summary;
    /// In the order of the help.
    std::vector<VerbOption> options;
    /// Does the work. Throws `CommandError` and `Interrupted`.
    Report (*run)(Session& session);
};

/// Returns the table of verbs, in the order of the help.
[[nodiscard]] const std::vector<Verb>& GetVerbs();

/// Shows everything about the component and what can be done next.
[[nodiscard]] Report RunStatus(Session& session);

/// Shows the running, the pending and the fallback version.
[[nodiscard]] Report RunVersions(Session& session);

/// Stages a bundle where one is given, installs, and follows the installation up to the restart.
[[nodiscard]] Report RunInstall(Session& session);

/// Goes back to the slot that the last installation started from.
[[nodiscard]] Report RunRevert(Session& session);

/// Leaves the failed state.
[[nodiscard]] Report RunResume(Session& session);

} // namespace Zel::Host::Cli

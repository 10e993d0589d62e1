#pragma once

#include "Cli/Report.h"
#include "Cli/Session.h"

#include <vector>

namespace Zel::Host::Cli
{

/// What a verb accepts besides the options of all verbs.
enum class VerbOption
{
    File,
    PendingOrFile,
    Fallback,
    Delay,
    At,
    NoWait,
    Yes,
    RestartExitCode,
    Timeout,
    Watch,
    Count,
    Steps,
    Code
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
    /// Further lines for the verb's own help.
    const char* details = "";
};

/// Returns the table of verbs, in the order of the help.
[[nodiscard]] const std::vector<Verb>& GetVerbs();

/// Shows everything about the component and what can be done next, and with `watch` every change.
[[nodiscard]] Report RunStatus(Session& session);

/// Shows the running, the pending and the fallback version.
[[nodiscard]] Report RunVersions(Session& session);

/// Shows what a bundle is.
[[nodiscard]] Report RunInspect(Session& session);

/// Shows every reason why an installation of a bundle would fail or need care now.
[[nodiscard]] Report RunCheck(Session& session);

/// Hands a bundle over, which is the pending one then.
[[nodiscard]] Report RunStage(Session& session);

/// Stages a bundle where one is given, installs, and follows the installation up to the restart.
[[nodiscard]] Report RunInstall(Session& session);

/// Calls a waiting installation off.
[[nodiscard]] Report RunCancel(Session& session);

/// Goes back to the slot that the last installation started from.
[[nodiscard]] Report RunRevert(Session& session);

/// Leaves the failed state.
[[nodiscard]] Report RunResume(Session& session);

/// Shows the last installations and reverts.
[[nodiscard]] Report RunHistory(Session& session);

/// Waits until nothing is being installed, and ends by the verdict.
[[nodiscard]] Report RunWait(Session& session);

/// Explains an exit code or the name of an error.
[[nodiscard]] Report RunExplain(Session& session);

/// Lists the service's components.
[[nodiscard]] Report RunComponents(Session& session);

} // namespace Zel::Host::Cli

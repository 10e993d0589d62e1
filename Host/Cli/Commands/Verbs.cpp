#include "Cli/Commands/Verbs.h"

namespace Zel::Host::Cli
{

const std::vector<Verb>& GetVerbs()
{
    static const std::vector<Verb> Verbs = {
        {"status", "Show state, versions, the last verdict and what can be done next", {}, &RunStatus},
        {"versions", "Show the running, the pending and the fallback version", {}, &RunVersions},
        {"install",
         "Install a bundle, the pending version or the fallback version, and restart the device",
         {VerbOption::File, VerbOption::Fallback, VerbOption::Delay, VerbOption::NoWait},
         &RunInstall},
        {"revert",
         "Go back to the version that the last installation started from, and restart",
         {},
         &RunRevert},
        {"resume", "Leave the failed state, so that the next installation can begin", {}, &RunResume},
    };
    return Verbs;
}

} // namespace Zel::Host::Cli

#include "Cli/Commands/Verbs.h"

namespace Zel::Host::Cli
{

const std::vector<Verb>& GetVerbs()
{
    static const std::vector<Verb> Verbs = {
        {"status",
         "Show state, versions, the last verdict and what can be done next",
         {VerbOption::Watch},
         &RunStatus,
         "With --watch and --json each change is one JSON object on a line of its own."},
        {"versions", "Show the running, the pending and the fallback version", {}, &RunVersions},
        {"inspect",
         "Show what a bundle is and whether it fits this device; changes nothing",
         {VerbOption::File},
         &RunInspect,
         "Exit code 6 for a bundle that is not trusted or not for this device, 5 when that cannot be told "
         "now."},
        {"check",
         "Show every reason why an installation now would fail or need care; changes nothing",
         {VerbOption::File},
         &RunCheck,
         "Exit code 0 when no check fails, 6 when signature, compatible or version fails, 5 when another one "
         "does."},
        {"stage",
         "Hand a bundle over: it is verified and pending then, and nothing is installed",
         {VerbOption::File},
         &RunStage},
        {"install",
         "Install a bundle, the pending version or the fallback version, and restart the device",
         {VerbOption::PendingOrFile, VerbOption::Fallback, VerbOption::Delay, VerbOption::At,
          VerbOption::NoWait, VerbOption::Yes, VerbOption::RestartExitCode},
         &RunInstall,
         "Asks on a terminal before it installs. Ctrl-C leaves the update running."},
        {"cancel", "Call an installation off that waits for its time", {}, &RunCancel},
        {"revert",
         "Go back to the version that the last installation started from, and restart",
         {VerbOption::Yes, VerbOption::RestartExitCode},
         &RunRevert,
         "Asks on a terminal before it does."},
        {"resume", "Leave the failed state, so that the next installation can begin", {}, &RunResume},
        {"history",
         "Show the last installations and reverts, the newest first",
         {VerbOption::Count, VerbOption::Steps},
         &RunHistory},
        {"wait",
         "Wait until nothing is being installed, and end by the last verdict",
         {VerbOption::Timeout, VerbOption::RestartExitCode},
         &RunWait,
         "Waits across the service's own restarts, 90 s at most for a service that is not there.\n"
         "Exit code 0 for success or no verdict, 1 for failure or a restart that has to be done by hand,\n"
         "8 where the device switched back, 9 when the time is over."},
        {"explain",
         "Explain an exit code or the name of an error; works without the service",
         {VerbOption::Code},
         &RunExplain},
        {"components", "List what the service can update", {}, &RunComponents},
    };
    return Verbs;
}

} // namespace Zel::Host::Cli

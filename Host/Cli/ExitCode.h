#pragma once

#include "Zel/String.h"

#include <array>
#include <string_view>

namespace Zel::Host::Cli
{

/// How `zelupdate` ends. The numbers are part of its interface: scripts rely on them, so they never change.
enum class ExitCode : int
{
    /// Done, or there was nothing to do.
    Done = 0,
    /// The update, or what was asked for, failed.
    Failed = 1,
    /// A wrong call of the program.
    Usage = 2,
    /// No such file, component or version.
    NotFound = 3,
    /// Done so far; a restart of the device has to follow. Only where the caller asks for this code.
    RestartNeeded = 4,
    /// Refused in the present state; the same call may succeed later.
    TryLater = 5,
    /// The bundle is broken, not trusted or not for this device.
    BundleRejected = 6,
    /// The bus or the service cannot be reached, or went away.
    ServiceUnreachable = 7,
    /// The device is back on the version that it was updated from.
    SwitchedBack = 8,
    /// The time to wait is over.
    TimedOut = 9,
    /// The caller has no right to do this.
    NotAllowed = 10
};

/// What an exit code tells the operator.
struct ExitCodeRow
{
    int code;
    std::string_view meaning;
    /// What to do then, one sentence.
    std::string_view advice;
};

/// Every exit code of the program, those of signals included, in rising order.
inline constexpr std::array ExitCodeRows = {
    ExitCodeRow{0, "done, or nothing to do; 'status', 'versions' and 'history' end so whatever they show",
                "Nothing has to be done."},
    ExitCodeRow{1, "failed",
                "The line on standard error tells the reason; 'journalctl -u zel-updated' more."},
    ExitCodeRow{2, "wrong call", "'zelupdate --help' and 'zelupdate VERB --help' show what can be called."},
    ExitCodeRow{3, "no such file, component, version or code",
                "Check the name; 'zelupdate components' and 'zelupdate versions' show what there is."},
    ExitCodeRow{4, "done, and a restart has to follow; only with --restart-exit-code",
                "Wait for the restart, or restart the device where it is not ordered by itself."},
    ExitCodeRow{5, "refused now, try later",
                "'zelupdate status' shows what is going on; call again after it."},
    ExitCodeRow{6, "the bundle was rejected: broken, not trusted or not for this device",
                "'zelupdate check FILE' tells why; get another bundle."},
    ExitCodeRow{7, "the bus or the service cannot be reached, or went away",
                "'systemctl status zel-updated dbus' shows what is missing."},
    ExitCodeRow{
        8, "the device switched back to the version that it was updated from",
        "'zelupdate history' tells why; 'zelupdate resume' makes it ready for the next installation."},
    ExitCodeRow{9, "the time to wait is over", "The update goes on; 'zelupdate wait' waits again."},
    ExitCodeRow{10, "not allowed", "Call as root, or as a user who may update this device."},
    ExitCodeRow{130, "ended by Ctrl-C", "What the service has begun goes on; 'zelupdate status' shows it."},
    ExitCodeRow{143, "ended by SIGTERM", "What the service has begun goes on; 'zelupdate status' shows it."},
};

/// Returns the list of the exit codes, a line each.
[[nodiscard]] String DescribeExitCodes();

} // namespace Zel::Host::Cli

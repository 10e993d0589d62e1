#pragma once

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
    /// Refused in the present state; the same call may succeed later.
    TryLater = 5,
    /// The bundle is broken, not trusted or not for this device.
    BundleRejected = 6,
    /// The bus or the service cannot be reached, or went away.
    ServiceUnreachable = 7,
    /// The device is back on the version that it was updated from.
    SwitchedBack = 8,
    /// The caller has no right to do this.
    NotAllowed = 10
};

} // namespace Zel::Host::Cli

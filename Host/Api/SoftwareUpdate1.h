#pragma once

#include "Zel/String.h"

#include <cstdint>

/// The words of the bus interface that service and clients have in common; zel.SoftwareUpdate1.xml describes
/// the interface itself. They are what other programs rely on: a word that is once here never changes.
namespace Zel::Host::Api
{

/// The service's well-known name.
inline const String BusName = "zel.SoftwareUpdate1";

/// The object that tells of the service itself and names the components.
inline const String ManagerPath = "/zel/SoftwareUpdate1";
inline const String ManagerInterface = "zel.SoftwareUpdate1.Manager";

/// What the path of a component's object begins with; its ID follows, as sd_bus_path_encode(3) encodes it.
inline const String ComponentPathPrefix = "/zel/SoftwareUpdate1/component";
inline const String ComponentInterface = "zel.SoftwareUpdate1.Component";

/// What the names of the service's own errors begin with; the error's text says what to do about it.
inline const String ErrorPrefix = "zel.SoftwareUpdate1.Error.";

/// Milliseconds. `Install` refuses so long a delay and longer ones, as modules count them in 32 bits.
inline constexpr std::uint64_t DelayLimit = std::uint64_t{1} << 32U;

/// The property `State`.
struct State
{
    /// An installation can begin.
    inline static const String Idle = "idle";
    /// An installation or a revert is under way, or an installation waits for its time; `Activity` tells
    /// more.
    inline static const String Installing = "installing";
    /// The last one has failed, or the device switched back; nothing can begin before `Resume`.
    inline static const String Failed = "failed";
};

/// The property `Activity`: what a component is about, more precisely than its state says it.
struct Activity
{
    inline static const String None = "none";
    /// The updater is not ready yet; requests are refused.
    inline static const String Starting = "starting";
    /// An installation is accepted and waits for its time; `NextStart` tells when that is.
    inline static const String Waiting = "waiting";
    inline static const String Installing = "installing";
    inline static const String Reverting = "reverting";
    /// The restart of the device is ordered; the verdict follows it.
    inline static const String Restarting = "restarting";
    /// The restart could not be ordered: somebody has to do it by hand.
    inline static const String RestartNeeded = "restart-needed";
    /// RAUC has to say how an installation or revert ended that an earlier start of the service began.
    inline static const String Deciding = "deciding";
};

/// How an installation or revert ended: in `Finished`, in `LastVerdict` and in an entry of `History`; the
/// latter two have an empty text where there is no end yet.
struct Result
{
    inline static const String Succeeded = "succeeded";
    /// The device runs the version again that it was updated from; what a revert is for.
    inline static const String SwitchedBack = "switched-back";
    inline static const String Failed = "failed";
    /// Somebody called it off before RAUC was asked for anything; never the last verdict.
    inline static const String CalledOff = "called-off";
};

/// What an entry of `History` is about.
struct Kind
{
    inline static const String Install = "install";
    /// The installation of the version in the other slot.
    inline static const String Fallback = "fallback";
    inline static const String Revert = "revert";
};

/// The step of `History` with which the service has had the device restart; what is before it is the time
/// that the updater took.
inline const String RestartOrderedStep = "Restart ordered";

/// What one check of `Inspect` found.
struct Grade
{
    inline static const String Pass = "pass";
    /// An installation would go through, but somebody should know this.
    inline static const String Warn = "warn";
    /// An installation would fail, or be refused.
    inline static const String Fail = "fail";
};

} // namespace Zel::Host::Api

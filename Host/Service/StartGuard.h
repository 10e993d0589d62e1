#pragma once

#include "Service/ComponentRecord.h"
#include "Service/RaucAnswer.h"

#include "Zel/String.h"

#include <cstdint>

namespace Zel::Host::Service
{

/// What is known of a component before its module is started.
struct StartFacts
{
    ComponentRecord record;
    /// The present boot.
    String bootId;
    /// The slot that the installation started from; empty where it is not known.
    String installerSlot;
    RaucAnswer rauc;
    /// Whether RAUC had its time to come.
    bool waitedLong = false;
    /// Microseconds since 1970 in UTC.
    std::int64_t now = 0;
};

/// What is to be done about them.
enum class StartAction
{
    /// The module is initialized, which decides an installation that is kept as running.
    Initialize,
    /// RAUC is asked again a little later.
    Wait,
    /// The device is restarted into the slot that is switched to already; the state stays.
    Restart,
    /// The installation ends as failed, then the module is initialized.
    EndAsFailed,
    /// RAUC was not asked for anything yet: the installation is suspended, the module is initialized and
    /// asked for it again.
    InstallAgain
};

/// Keeps a module from deciding an installation before it is decidable: a module takes its initialization for
/// the start after the restart, and the service may have been started again in the same boot.
class StartGuard
{
public:
    struct Decision
    {
        StartAction action;
        /// Why, in a sentence; empty for an initialization.
        String reason;
    };

    [[nodiscard]] static Decision Decide(const StartFacts& facts);

private:
    [[nodiscard]] static Decision DecideInNewBoot(const StartFacts& facts);
    [[nodiscard]] static Decision DecideInSameBoot(const StartFacts& facts);
};

} // namespace Zel::Host::Service

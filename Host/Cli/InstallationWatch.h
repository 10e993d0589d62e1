#pragma once

#include "Cli/ComponentState.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Where an installation stands that this program has asked for.
enum class InstallationStage
{
    /// Asked for, waiting or running.
    Running,
    /// Written, the restart is ordered: the service is going to disappear.
    Restarting,
    /// Written, but somebody has to restart the device.
    RestartByHand,
    Failed,
    /// Over, and the device is back on the version that it was updated from.
    SwitchedBack,
    /// Over with a good verdict, without the service having disappeared.
    Succeeded,
    /// Over without a verdict.
    CalledOff
};

/// Follows one installation from before it is asked for through the component's states.
class InstallationWatch
{
public:
    /// `before` is the state before the installation is asked for.
    explicit InstallationWatch(const ComponentState& before);

    /// Takes a later state; `accepted` once the service has answered that the installation was started.
    void Observe(const ComponentState& now, bool accepted);

    [[nodiscard]] InstallationStage GetStage() const noexcept { return stage; }

    /// Whether the installation has begun, or was accepted.
    [[nodiscard]] bool HasBegun() const noexcept { return begun; }

    /// Whether the service still works on the installation.
    [[nodiscard]] bool IsOpen() const noexcept;

    /// Why it failed, as the service told it; may be empty.
    [[nodiscard]] const String& GetReason() const noexcept { return reason; }

private:
    [[nodiscard]] InstallationStage Judge(const ComponentState& now) const;

    LastVerdict earlierVerdict;
    bool begun = false;
    InstallationStage stage = InstallationStage::Running;
    String reason;
};

} // namespace Zel::Host::Cli

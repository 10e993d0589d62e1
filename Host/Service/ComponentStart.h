#pragma once

#include "Service/ComponentEnvironment.h"
#include "Service/LoopTimer.h"
#include "Service/StartGuard.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <chrono>
#include <functional>

namespace Zel::Host::Service
{

/// The time before a component's module is initialized: asks `StartGuard`, again and again while it says so,
/// and does what it decides. Used on the loop's thread.
class ComponentStart : private System::Commons::Diagnostics::Logging::Loggable<ComponentStart>
{
public:
    struct Handlers
    {
        /// The module is to be initialized.
        EventLoop::Task initialize;
        /// A restart of the device was ordered, the module stays away.
        EventLoop::Task restarting;
        /// Told, in words, about an installation or revert that was ended without its module.
        std::function<void(const String& text)> interrupted;
    };

    /// After what time RAUC is asked again, and how long it is waited for where that may have an end.
    static constexpr std::chrono::seconds CheckInterval{1};
    static constexpr std::chrono::seconds Patience{90};

    ComponentStart(const String& componentId, const ComponentEnvironment& environment, Handlers handlers);
    ComponentStart(const ComponentStart&) = delete;
    ComponentStart& operator=(const ComponentStart&) = delete;

    void Begin();
    /// No handler is called until the next `Begin`.
    void Abandon();

    /// What the guard would decide now, after this answer of RAUC's.
    [[nodiscard]] StartGuard::Decision Decide(const RaucAnswer& answer);

private:
    void Check();
    /// True as well when the store cannot tell.
    [[nodiscard]] bool IsInstalling() const;
    void Follow(const StartGuard::Decision& decision);
    void Wait(const String& reason);
    void Restart(const String& reason);
    void EndAsFailed(const String& reason);
    void InstallAgain(const String& reason);
    void Initialize();
    /// Shows `message` at once, and `Initialize` takes it back.
    void Show(const String& message);
    [[nodiscard]] String ReadTargetVersion() const;

    const String& componentId;
    const ComponentEnvironment& environment;
    const Handlers handlers;
    bool underWay = false;
    bool hasShown = false;
    /// What there is to be told of the end that was made instead of a module's.
    std::optional<String> interruption;
    std::chrono::steady_clock::time_point deadline;
    LoopTimer checkTimer;
};

} // namespace Zel::Host::Service

#include "Service/ComponentStart.h"

#include "Service/Clock.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

ComponentStart::ComponentStart(const String& componentId, const ComponentEnvironment& environment,
                               Handlers handlers)
    : componentId(componentId), environment(environment), handlers(std::move(handlers)),
      checkTimer(environment.loop, [this] { Check(); })
{
}

void ComponentStart::Begin()
{
    underWay = true;
    interruption.reset();
    deadline = std::chrono::steady_clock::now() + Patience;
    Check();
}

void ComponentStart::Abandon()
{
    underWay = false;
    checkTimer.Disarm();
}

void ComponentStart::Check()
{
    if (!IsInstalling())
    {
        Initialize();
        return;
    }
    environment.probe(
        [this](const RaucAnswer& answer)
        {
            if (underWay)
            {
                Follow(Decide(answer));
            }
        });
}

bool ComponentStart::IsInstalling() const
{
    const auto status = environment.status->GetComponentStatus(componentId);
    return !status || status->record.state == InstallationState::Installing;
}

StartGuard::Decision ComponentStart::Decide(const RaucAnswer& answer)
{
    const auto status = environment.status->GetComponentStatus(componentId);
    const auto slot = environment.status->FindProperty(componentId, StatusStore::InstallerSlotProperty);
    if (!status || !slot)
    {
        return {StartAction::Wait, "The status store has to tell whether an installation is running."};
    }
    if (answer.state == RaucState::Busy)
    {
        // Its time to come begins when it is done.
        deadline = std::chrono::steady_clock::now() + Patience;
    }
    StartFacts facts;
    facts.record = status->record;
    facts.bootId = environment.status->GetBootId();
    facts.installerSlot = *slot;
    facts.rauc = answer;
    facts.waitedLong = std::chrono::steady_clock::now() >= deadline;
    facts.now = GetUnixTime();
    return StartGuard::Decide(facts);
}

void ComponentStart::Follow(const StartGuard::Decision& decision)
{
    switch (decision.action)
    {
    case StartAction::Initialize:
        environment.status->AddStep(componentId, "Restarted");
        Initialize();
        break;
    case StartAction::Wait:
        Wait(decision.reason);
        break;
    case StartAction::Restart:
        Restart(decision.reason);
        break;
    case StartAction::EndAsFailed:
        EndAsFailed(decision.reason);
        break;
    case StartAction::InstallAgain:
        InstallAgain(decision.reason);
        break;
    }
}

void ComponentStart::Wait(const String& reason)
{
    Show(reason);
    checkTimer.Arm(CheckInterval);
    environment.startDelayed(reason);
}

void ComponentStart::Restart(const String& reason)
{
    Log(LogLevel::Warning, "{0} It is restarted now.", reason);
    environment.status->SetMessage(componentId, reason + " It is restarted now.", false);
    underWay = false;
    environment.restartDevice();
    handlers.restarting();
}

void ComponentStart::EndAsFailed(const String& reason)
{
    const String version = ReadTargetVersion();
    const auto status = environment.status->GetComponentStatus(componentId);
    environment.status->SetMessage(componentId, reason, false);
    hasShown = false;
    if (status)
    {
        interruption = status->record.begunAsInstallation
                           ? Format("The installation of version '{0}' has failed. {1}", version, reason)
                           : Format("The revert has failed. {0}", reason);
    }
    environment.status->EndInstallation(componentId, false);
    if (!status || IsInstalling())
    {
        // The store could not keep the end, and a module would decide what it must not.
        checkTimer.Arm(CheckInterval);
        environment.startDelayed(reason);
        return;
    }
    Log(LogLevel::Error, "{0} It has failed.", reason);
    if (!status->record.begunAsInstallation)
    {
        // It can be asked for again.
        static_cast<void>(
            environment.status->WriteProperty(componentId, StatusStore::RevertedToProperty, "", true));
    }
    Initialize();
}

void ComponentStart::InstallAgain(const String& reason)
{
    if (!environment.status->Suspend(componentId))
    {
        checkTimer.Arm(CheckInterval);
        environment.startDelayed(reason);
        return;
    }
    Log(LogLevel::Warning, "{0} It is asked for again.", reason);
    Show(reason);
    Initialize();
}

void ComponentStart::Show(const String& message)
{
    hasShown = true;
    environment.status->SetMessage(componentId, message, false);
}

void ComponentStart::Initialize()
{
    if (std::exchange(hasShown, false))
    {
        environment.status->SetMessage(componentId, "", false);
    }
    if (const auto text = std::exchange(interruption, std::nullopt))
    {
        handlers.interrupted(*text);
    }
    underWay = false;
    handlers.initialize();
}

String ComponentStart::ReadTargetVersion() const
{
    String version;
    environment.status->ReadProperty(componentId, StatusStore::TargetVersionProperty, version);
    return version;
}

} // namespace Zel::Host::Service

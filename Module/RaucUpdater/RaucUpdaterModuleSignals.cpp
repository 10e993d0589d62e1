#include "RaucUpdater/RaucUpdaterModule.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::LogLevel;

void RaucUpdaterModule::OnCompleted(const RaucCompletedSignal& signal)
{
    try
    {
        HandleCompleted(signal);
    }
    catch (...)
    {
        LogException("OnCompleted");
    }
}

void RaucUpdaterModule::HandleCompleted(const RaucCompletedSignal& signal)
{
    SoftwareUpdateStatus status;
    if (!TryGetStatus(GetComponentId(), status))
    {
        // No full stop here, unlike in the other two handlers; it is meant.
        Log(LogLevel::Error, "Failed to get updater status");
        return;
    }
    if (status.state != InstallationState::Installing)
    {
        return;
    }
    Log(LogLevel::Info, "Installation HasCompleted={0}", signal.HasCompleted() ? "true" : "false");
    if (signal.HasCompleted())
    {
        static_cast<void>(Reboot(true));
        return;
    }
    // Before the end is told: the next installation may begin at once.
    installationStarted = false;
    versionManager.ResetCache(SoftwareVersionFileType::Fallback);
    updaterStatus->EndInstallation(GetComponentId(), false);
}

void RaucUpdaterModule::OnProgressChanged(const RaucProgressProperty& progress) const
{
    try
    {
        if (!IsOwnInstallationRunning())
        {
            return;
        }
        Log(LogLevel::Info, "({0}) {1}%: {2}", progress.GetNestingDepth(), progress.GetPercentage(),
            progress.GetMessage());
        updaterStatus->SetMessage(GetComponentId(), progress.GetMessage(), false);
        updaterStatus->SetProgress(GetComponentId(), progress.GetPercentage());
    }
    catch (...)
    {
        LogException("OnProgressChanged");
    }
}

void RaucUpdaterModule::OnLastErrorChanged(const RaucLastErrorProperty& lastError) const
{
    try
    {
        if (!IsOwnInstallationRunning())
        {
            return;
        }
        if (!lastError.GetMessage().empty())
        {
            Log(LogLevel::Error, "LastErrorChanged: {0}", lastError.GetMessage());
        }
        updaterStatus->SetMessage(GetComponentId(), lastError.GetMessage(), false);
    }
    catch (...)
    {
        LogException("OnLastErrorChanged");
    }
}

bool RaucUpdaterModule::IsOwnInstallationRunning() const
{
    SoftwareUpdateStatus status;
    if (!TryGetStatus(GetComponentId(), status))
    {
        Log(LogLevel::Error, "Failed to get updater status.");
        return false;
    }
    return installationStarted && status.state == InstallationState::Installing;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

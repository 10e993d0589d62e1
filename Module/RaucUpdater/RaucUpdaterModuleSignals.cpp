#include "RaucUpdater/RaucUpdaterModule.h"

#include "Zel/System/Core/Format.h"

#include <chrono>
#include <mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Services::SoftwareUpdate::InstallationState;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

void RaucUpdaterModule::RefreshUpdateStatus() const
{
    const std::chrono::nanoseconds remaining =
        scheduledExecutor.GetScheduledTime() - std::chrono::steady_clock::now();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(remaining).count();
    if (seconds <= 0)
    {
        return;
    }
    String revision;
    {
        const std::lock_guard lock(delayedVersionMutex);
        revision = delayedVersion.softwareRevision.ToString();
    }
    updaterStatus->SetMessage(
        GetComponentId(),
        Format("The version {0} is going to be installed in {1} seconds.", revision, seconds), false);
}

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

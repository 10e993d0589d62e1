#include "RaucUpdater/RaucUpdaterModule.h"

#include "RaucUpdater/Internal/FileTypeText.h"
#include "Zel/DateTime.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <mutex>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

using Internal::FileTypeText;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

/// Names the delayed installation in the executor and in the log.
constexpr const char* DelayTaskName = "RaucDelayInstall";

/// The moment `delayMs` milliseconds from now, or the last one that ticks can count.
DateTime GetStartTime(long long delayMs)
{
    const std::int64_t now = DateTime::GetUtcNow().GetTicks();
    const long long longest =
        (std::numeric_limits<std::int64_t>::max() - now) / DateTime::TicksPerMillisecond;
    return {now + std::min(delayMs, longest) * DateTime::TicksPerMillisecond, DateTimeKind::Unspecified};
}

} // namespace

RaucUpdaterModule::ResultCode RaucUpdaterModule::DelayInstallation(SoftwareVersionFileType fileType,
                                                                   const SoftwareVersionType& version,
                                                                   long long delayMs)
{
    {
        const std::lock_guard lock(delayedVersionMutex);
        delayedVersion = version;
    }
    Log(LogLevel::Info, "The {0} version {1} is going to be installed at {2}.", FileTypeText(fileType),
        version.softwareRevision.GetView(), GetStartTime(delayMs).ToIso8601String());
    static_cast<void>(updateStatusTimer.Start());
    if (!scheduledExecutor.Schedule(DelayTaskName, delayMs,
                                    [this, fileType] { StartDelayedInstallation(fileType); }))
    {
        Log(LogLevel::Error, "Failed to start {0} timer.", DelayTaskName);
        updateStatusTimer.Stop();
        return ResultCode::OperationFailed;
    }
    return ResultCode::Ok;
}

void RaucUpdaterModule::StartDelayedInstallation(SoftwareVersionFileType fileType)
{
    static_cast<void>(EndUnlessOk(GetComponentId(),
                                  [&]
                                  {
                                      Log(LogLevel::Debug, "Start delayed installation.");
                                      updateStatusTimer.Stop();
                                      return InstallSoftwarePackage(fileType);
                                  }));
}

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

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

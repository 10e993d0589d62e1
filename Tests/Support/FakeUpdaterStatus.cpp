#include "Support/FakeUpdaterStatus.h"

namespace Zel::Tests::Support
{

void FakeUpdaterStatus::SetMessage(const String& id, const String& message, bool newStory)
{
    const std::lock_guard lock(mutex);
    Require(String("SetMessage ") + (newStory ? "new " : "") + "'" + message + "'");
    SoftwareUpdateStatus& status = Get(id).status;
    status.message = Truncate(message, 511);
    status.progress = newStory ? 0 : status.progress;
}

bool FakeUpdaterStatus::BeginInstallation(const String& id, bool installation)
{
    const std::lock_guard lock(mutex);
    Record& record = Get(id);
    const bool isAdmitted = Admit(String("BeginInstallation ") + (installation ? "installation" : "revert"));
    if (!isAdmitted || record.status.state != InstallationState::Idle)
    {
        return false;
    }
    record.status.state = InstallationState::Installing;
    record.begunAsInstallation = installation;
    return true;
}

void FakeUpdaterStatus::EndInstallation(const String& id, bool success)
{
    const std::lock_guard lock(mutex);
    Record& record = Get(id);
    Require(success ? "EndInstallation succeeded" : "EndInstallation failed");
    if (record.status.state == InstallationState::Installing)
    {
        record.status.state = success ? InstallationState::Idle : InstallationState::Failed;
        record.status.revertible = record.status.revertible || record.begunAsInstallation;
    }
}

bool FakeUpdaterStatus::ResumeInstallation(const String& id)
{
    const std::lock_guard lock(mutex);
    InstallationState& state = Get(id).status.state;
    const bool isResumed = Admit("ResumeInstallation") && state == InstallationState::Failed;
    state = isResumed ? InstallationState::Idle : state;
    return isResumed;
}

bool FakeUpdaterStatus::WriteProperty(const String& id, const String& name, const String& value,
                                      bool persistent)
{
    const std::lock_guard lock(mutex);
    const String suffix = persistent ? "" : " for this start only";
    return Admit("WriteProperty " + name + "=" + value + suffix) && (Get(id).properties[name] = value, true);
}

bool FakeUpdaterStatus::Admit(const String& line)
{
    calls.push_back(line);
    Log(System::Commons::Diagnostics::Logging::LogLevel::Info, "{0}", line);
    return !IsRefused(line);
}

} // namespace Zel::Tests::Support

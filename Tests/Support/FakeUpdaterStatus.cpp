#include "Support/FakeUpdaterStatus.h"

#include <stdexcept>

namespace Zel::Tests::Support
{

bool FakeUpdaterStatus::GetStatus(const String& componentId, SoftwareUpdateStatus& status)
{
    const std::lock_guard lock(mutex);
    if (IsRefused("GetStatus"))
    {
        return false;
    }
    status = GetOrAdd(componentId).status;
    return true;
}

void FakeUpdaterStatus::SetMessage(const String& componentId, const String& message, bool newStory)
{
    const std::lock_guard lock(mutex);
    Require(Admit(String("SetMessage ") + (newStory ? "new " : "") + "'" + message + "'"));
    SoftwareUpdateStatus& status = GetOrAdd(componentId).status;
    status.message = Truncate(message, 511);
    status.progress = newStory ? 0 : status.progress;
}

void FakeUpdaterStatus::SetProgress(const String& componentId, int percentage)
{
    const std::lock_guard lock(mutex);
    Require(Admit("SetProgress " + std::to_string(percentage)));
    GetOrAdd(componentId).status.progress = percentage;
}

bool FakeUpdaterStatus::BeginInstallation(const String& componentId, bool installation)
{
    const std::lock_guard lock(mutex);
    Record& record = GetOrAdd(componentId);
    if (!Admit(installation ? "BeginInstallation installation" : "BeginInstallation revert") ||
        record.status.state != InstallationState::Idle)
    {
        return false;
    }
    record.status.state = InstallationState::Installing;
    record.begunAsInstallation = installation;
    return true;
}

void FakeUpdaterStatus::EndInstallation(const String& componentId, bool success)
{
    const std::lock_guard lock(mutex);
    Record& record = GetOrAdd(componentId);
    Require(Admit(success ? "EndInstallation succeeded" : "EndInstallation failed"));
    if (record.status.state == InstallationState::Installing)
    {
        record.status.state = success ? InstallationState::Idle : InstallationState::Failed;
        record.status.revertible = record.status.revertible || record.begunAsInstallation;
    }
}

bool FakeUpdaterStatus::ResumeInstallation(const String& componentId)
{
    const std::lock_guard lock(mutex);
    Record& record = GetOrAdd(componentId);
    if (!Admit("ResumeInstallation") || record.status.state != InstallationState::Failed)
    {
        return false;
    }
    record.status.state = InstallationState::Idle;
    return true;
}

bool FakeUpdaterStatus::WriteProperty(const String& componentId, const String& propertyName,
                                      const String& value, bool persistent)
{
    const std::lock_guard lock(mutex);
    if (!Admit("WriteProperty " + propertyName + "=" + value + (persistent ? "" : " for this start only")))
    {
        return false;
    }
    GetOrAdd(componentId).properties[propertyName] = value;
    return true;
}

void FakeUpdaterStatus::ReadProperty(const String& componentId, const String& propertyName, String& value)
{
    const std::lock_guard lock(mutex);
    Require(!IsRefused("ReadProperty"));
    value = GetOrAdd(componentId).properties[propertyName];
}

std::uint32_t FakeUpdaterStatus::GetConfirmationTimeout(const String& /*componentId*/)
{
    const std::lock_guard lock(mutex);
    return confirmationTimeout;
}

void FakeUpdaterStatus::Refuse(const String& prefix)
{
    const std::lock_guard lock(mutex);
    refusedPrefix = prefix;
}

void FakeUpdaterStatus::SetState(const String& componentId, InstallationState state, bool revertible)
{
    const std::lock_guard lock(mutex);
    SoftwareUpdateStatus& status = GetOrAdd(componentId).status;
    status.state = state;
    status.revertible = revertible;
}

void FakeUpdaterStatus::SetConfirmationTimeout(std::uint32_t seconds)
{
    const std::lock_guard lock(mutex);
    confirmationTimeout = seconds;
}

FakeUpdaterStatus::SoftwareUpdateStatus FakeUpdaterStatus::GetRecord(const String& componentId)
{
    const std::lock_guard lock(mutex);
    return GetOrAdd(componentId).status;
}

std::vector<String> FakeUpdaterStatus::GetCalls() const
{
    const std::lock_guard lock(mutex);
    return calls;
}

void FakeUpdaterStatus::ClearCalls()
{
    const std::lock_guard lock(mutex);
    calls.clear();
}

bool FakeUpdaterStatus::IsRefused(const String& line) const
{
    return !refusedPrefix.empty() && line.starts_with(refusedPrefix);
}

void FakeUpdaterStatus::Require(bool isAdmitted) const
{
    if (!isAdmitted)
    {
        throw std::runtime_error("refused");
    }
}

bool FakeUpdaterStatus::Admit(const String& line)
{
    calls.push_back(line);
    Log(System::Commons::Diagnostics::Logging::LogLevel::Info, "{0}", line);
    return !IsRefused(line);
}

FakeUpdaterStatus::Record& FakeUpdaterStatus::GetOrAdd(const String& componentId)
{
    return records[ToLower(componentId)];
}

} // namespace Zel::Tests::Support

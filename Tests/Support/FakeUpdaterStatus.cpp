#include "Support/FakeUpdaterStatus.h"

#include <algorithm>
#include <stdexcept>

namespace Zel::Tests::Support
{

FakeUpdaterStatus::~FakeUpdaterStatus() = default;

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
    if (!Admit(String("SetMessage ") + (newStory ? "new " : "") + "'" + message + "'"))
    {
        throw std::runtime_error("refused");
    }
    SoftwareUpdateStatus& status = GetOrAdd(componentId).status;
    status.message = Truncate(message, 511);
    status.progress = newStory ? 0 : status.progress;
}

void FakeUpdaterStatus::SetProgress(const String& componentId, int percentage)
{
    const std::lock_guard lock(mutex);
    if (!Admit("SetProgress " + std::to_string(percentage)))
    {
        throw std::runtime_error("refused");
    }
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
    if (!Admit(success ? "EndInstallation succeeded" : "EndInstallation failed"))
    {
        throw std::runtime_error("refused");
    }
    if (record.status.state != InstallationState::Installing)
    {
        return;
    }
    record.status.state = success ? InstallationState::Idle : InstallationState::Failed;
    record.status.revertible = record.status.revertible || record.begunAsInstallation;
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
    auto& properties = GetOrAdd(componentId).properties;
    if (value.empty())
    {
        properties.erase(propertyName);
    }
    else
    {
        properties[propertyName] = value;
    }
    return true;
}

void FakeUpdaterStatus::ReadProperty(const String& componentId, const String& propertyName, String& value)
{
    value = GetProperty(componentId, propertyName);
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

FakeUpdaterStatus::SoftwareUpdateStatus FakeUpdaterStatus::GetRecord(const String& componentId) const
{
    const std::lock_guard lock(mutex);
    const auto found = records.find(ToLower(componentId));
    return found == records.end() ? SoftwareUpdateStatus() : found->second.status;
}

String FakeUpdaterStatus::GetProperty(const String& componentId, const String& propertyName) const
{
    const std::lock_guard lock(mutex);
    const auto record = records.find(ToLower(componentId));
    if (record == records.end())
    {
        return "";
    }
    const auto property = record->second.properties.find(propertyName);
    return property == record->second.properties.end() ? "" : property->second;
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

bool FakeUpdaterStatus::WaitForCall(const String& line, std::chrono::milliseconds deadline) const
{
    std::unique_lock lock(mutex);
    return called.wait_for(lock, deadline,
                           [&] { return std::find(calls.begin(), calls.end(), line) != calls.end(); });
}

bool FakeUpdaterStatus::IsRefused(const String& line) const
{
    return !refusedPrefix.empty() && line.starts_with(refusedPrefix);
}

bool FakeUpdaterStatus::Admit(const String& line)
{
    calls.push_back(line);
    called.notify_all();
    return !IsRefused(line);
}

FakeUpdaterStatus::Record& FakeUpdaterStatus::GetOrAdd(const String& componentId)
{
    return records[ToLower(componentId)];
}

} // namespace Zel::Tests::Support

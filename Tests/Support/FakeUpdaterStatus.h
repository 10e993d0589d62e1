#pragma once

#include "Support/Recorded.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <atomic>
#include <map>
#include <stdexcept>

namespace Zel::Tests::Support
{

/// A status store in memory: keeps states and properties by the rules of the real one and records every call
/// but `GetStatus` and `ReadProperty` as a line, for example "BeginInstallation installation",
/// "WriteProperty RevertedTo=rootfs.0" or "SetMessage new ''" (without "new" for a message that goes on). The
/// log gets the same line at level info. Thread-safe.
class FakeUpdaterStatus : public Services::SoftwareUpdate::IUpdaterStatus,
                          private System::Commons::Diagnostics::Logging::Loggable<FakeUpdaterStatus>
{
public:
    using InstallationState = Services::SoftwareUpdate::InstallationState;
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;

    [[nodiscard]] bool GetStatus(const String& id, SoftwareUpdateStatus& status) override
    {
        const std::lock_guard lock(mutex);
        status = IsRefused("GetStatus") ? status : Get(id);
        return !IsRefused("GetStatus");
    }

    void SetMessage(const String& id, const String& message, bool newStory) override
    {
        const std::lock_guard lock(mutex);
        Require(String("SetMessage ") + (newStory ? "new " : "") + "'" + message + "'");
        Get(id).message = Truncate(message, 511);
    }

    void SetProgress(const String& id, int percent) override
    {
        const std::lock_guard lock(mutex);
        Require("SetProgress " + std::to_string(percent));
        Get(id).progress = percent;
    }

    [[nodiscard]] bool BeginInstallation(const String& id, bool installation) override
    {
        const std::lock_guard lock(mutex);
        const String line = String("BeginInstallation ") + (installation ? "installation" : "revert");
        const bool begins = Admit(line) && Change(id, InstallationState::Idle, InstallationState::Installing);
        isInstallation = begins ? installation : isInstallation;
        return begins;
    }

    void EndInstallation(const String& id, bool success) override
    {
        const std::lock_guard lock(mutex);
        Require(success ? "EndInstallation succeeded" : "EndInstallation failed");
        const auto end = success ? InstallationState::Idle : InstallationState::Failed;
        Get(id).revertible |= Change(id, InstallationState::Installing, end) && isInstallation;
    }

    [[nodiscard]] bool ResumeInstallation(const String& id) override
    {
        const std::lock_guard lock(mutex);
        return Admit("ResumeInstallation") && Change(id, InstallationState::Failed, InstallationState::Idle);
    }

    [[nodiscard]] bool WriteProperty(const String& /*id*/, const String& name, const String& value,
                                     bool persistent) override
    {
        const std::lock_guard lock(mutex);
        const String suffix = persistent ? "" : " for this start only";
        const bool isAdmitted = Admit("WriteProperty " + name + "=" + value + suffix);
        properties[name] = isAdmitted ? value : properties[name];
        return isAdmitted;
    }

    void ReadProperty(const String& /*id*/, const String& name, String& value) override
    {
        const std::lock_guard lock(mutex);
        IsRefused("ReadProperty") ? throw std::runtime_error("refused") : value = properties[name];
    }

    [[nodiscard]] std::uint32_t GetConfirmationTimeout(const String& /*id*/) override
    {
        return confirmationTimeout;
    }

    /// Refuses, or where there is nothing to refuse throws `std::runtime_error("refused")` from, every call
    /// whose line begins with `prefix`; "GetStatus" and "ReadProperty" are two, too. An empty prefix refuses
    /// nothing any more.
    void Refuse(const String& prefix)
    {
        const std::lock_guard lock(mutex);
        refusedPrefix = prefix;
    }

    /// Sets what the component's record says.
    void SetState(const String& id, InstallationState state, bool revertible = false)
    {
        const std::lock_guard lock(mutex);
        Get(id).state = state;
        Get(id).revertible = revertible;
    }

    [[nodiscard]] std::vector<String> GetCalls() const { return calls.Get(); }

    std::atomic<std::uint32_t> confirmationTimeout = 0;

private:
    /// Under the lock, like what is below.
    [[nodiscard]] bool IsRefused(const String& line) const
    {
        return !refusedPrefix.empty() && line.starts_with(refusedPrefix);
    }

    /// Records a call; returns false, or throws, when it is refused.
    [[nodiscard]] bool Admit(const String& line)
    {
        calls.Add(line);
        Log(System::Commons::Diagnostics::Logging::LogLevel::Info, "{0}", line);
        return !IsRefused(line);
    }

    void Require(const String& line) { Admit(line) ? void() : throw std::runtime_error("refused"); }

    /// Takes the state from one to another; false, nothing changed, from any other one.
    [[nodiscard]] bool Change(const String& id, InstallationState from, InstallationState to)
    {
        return Get(id).state == from && (Get(id).state = to, true);
    }

    SoftwareUpdateStatus& Get(const String& id) { return statuses[ToLower(id)]; }

    std::mutex mutex;
    std::map<String, SoftwareUpdateStatus> statuses;
    /// Of the one component that tests have.
    std::map<String, String> properties;
    bool isInstallation = false;
    String refusedPrefix;
    Recorded<String> calls;
};

} // namespace Zel::Tests::Support

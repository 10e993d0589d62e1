#pragma once

#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace Zel::Tests::Support
{

/// A status store in memory: keeps states and properties by the rules of the real one and records every call
/// but `GetStatus` and `ReadProperty` as a line, for example "BeginInstallation installation",
/// "WriteProperty RevertedTo=rootfs.0" or "SetMessage new ''" (without "new" for a message that goes on). The
/// log gets the same line at level info. Thread-safe.
class FakeUpdaterStatus : public Services::SoftwareUpdate::IUpdaterStatus,
                          private System::Commons::Diagnostics::Logging::Loggable<FakeUpdaterStatus>
{
    template <typename Action>
    auto Locked(const Action& action)
    {
        const std::lock_guard lock(mutex);
        return action();
    }

public:
    using InstallationState = Services::SoftwareUpdate::InstallationState;
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;

    [[nodiscard]] bool GetStatus(const String& id, SoftwareUpdateStatus& status) override
    {
        return Locked([&] { return !IsRefused("GetStatus") && (status = Get(id).status, true); });
    }

    void SetMessage(const String& id, const String& message, bool newStory) override;

    void SetProgress(const String& id, int percent) override
    {
        Locked([&] { Require("SetProgress " + std::to_string(percent)), Get(id).status.progress = percent; });
    }

    [[nodiscard]] bool BeginInstallation(const String& id, bool installation) override;
    void EndInstallation(const String& id, bool success) override;
    [[nodiscard]] bool ResumeInstallation(const String& id) override;
    [[nodiscard]] bool WriteProperty(const String& id, const String& name, const String& value,
                                     bool persistent) override;

    void ReadProperty(const String& id, const String& name, String& value) override
    {
        Locked(
            [&] {
                IsRefused("ReadProperty") ? throw std::runtime_error("refused")
                                          : value = Get(id).properties[name];
            });
    }

    [[nodiscard]] std::uint32_t GetConfirmationTimeout(const String& /*id*/) override
    {
        return Locked([&] { return confirmationTimeout; });
    }

    /// Refuses, or where there is nothing to refuse throws `std::runtime_error("refused")` from, every call
    /// whose line begins with `prefix`; "GetStatus" and "ReadProperty" are two, too. An empty prefix refuses
    /// nothing any more.
    void Refuse(const String& prefix)
    {
        Locked([&] { refusedPrefix = prefix; });
    }

    /// Sets what the component's record says.
    void SetState(const String& id, InstallationState state, bool revertible = false)
    {
        Locked([&] { Get(id).status.state = state, Get(id).status.revertible = revertible; });
    }

    void SetConfirmationTimeout(std::uint32_t to)
    {
        Locked([&] { confirmationTimeout = to; });
    }

    [[nodiscard]] std::vector<String> GetCalls()
    {
        return Locked([&] { return calls; });
    }

private:
    struct Record
    {
        SoftwareUpdateStatus status;
        bool begunAsInstallation = false;
        std::map<String, String> properties;
    };

    /// Under the lock, like what is below.
    [[nodiscard]] bool IsRefused(const String& line) const
    {
        return !refusedPrefix.empty() && line.starts_with(refusedPrefix);
    }

    /// Records a call; returns false, or throws, when it is refused.
    [[nodiscard]] bool Admit(const String& line);

    void Require(const String& line) { Admit(line) ? void() : throw std::runtime_error("refused"); }

    Record& Get(const String& componentId) { return records[ToLower(componentId)]; }

    std::mutex mutex;
    std::map<String, Record> records;
    std::vector<String> calls;
    String refusedPrefix;
    std::uint32_t confirmationTimeout = 0;
};

} // namespace Zel::Tests::Support

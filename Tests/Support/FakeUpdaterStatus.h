#pragma once

#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdint>
#include <map>
#include <mutex>
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
public:
    using InstallationState = Services::SoftwareUpdate::InstallationState;
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;

    [[nodiscard]] bool GetStatus(const String& componentId, SoftwareUpdateStatus& status) override;
    void SetMessage(const String& componentId, const String& message, bool newStory) override;
    void SetProgress(const String& componentId, int percentage) override;
    [[nodiscard]] bool BeginInstallation(const String& componentId, bool installation) override;
    void EndInstallation(const String& componentId, bool success) override;
    [[nodiscard]] bool ResumeInstallation(const String& componentId) override;
    [[nodiscard]] bool WriteProperty(const String& componentId, const String& propertyName,
                                     const String& value, bool persistent) override;
    void ReadProperty(const String& componentId, const String& propertyName, String& value) override;
    [[nodiscard]] std::uint32_t GetConfirmationTimeout(const String& componentId) override;

    /// Refuses, or where there is nothing to refuse throws `std::runtime_error("refused")` from, every call
    /// whose line begins with `prefix`; "GetStatus" and "ReadProperty" are two, too. An empty prefix refuses
    /// nothing any more.
    void Refuse(const String& prefix);

    /// Sets what the component's record says.
    void SetState(const String& componentId, InstallationState state, bool revertible = false);
    void SetConfirmationTimeout(std::uint32_t seconds);

    [[nodiscard]] SoftwareUpdateStatus GetRecord(const String& componentId);
    [[nodiscard]] std::vector<String> GetCalls() const;
    void ClearCalls();

private:
    struct Record
    {
        SoftwareUpdateStatus status;
        bool begunAsInstallation = false;
        std::map<String, String> properties;
    };

    /// Under the lock, like what is below.
    [[nodiscard]] bool IsRefused(const String& line) const;
    void Require(bool isAdmitted) const;
    [[nodiscard]] bool Admit(const String& line);
    Record& GetOrAdd(const String& componentId);

    mutable std::mutex mutex;
    std::map<String, Record> records;
    std::vector<String> calls;
    String refusedPrefix;
    std::uint32_t confirmationTimeout = 0;
};

} // namespace Zel::Tests::Support

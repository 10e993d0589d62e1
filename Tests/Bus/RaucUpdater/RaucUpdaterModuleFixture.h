#pragma once

#include "RaucUpdater/RaucUpdaterModule.h"
#include "Support/ModulePlatform.h"
#include "Support/PrivateBus.h"
#include "Support/RecordingLogSink.h"
#include "Support/ScriptedRauc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{

/// A module on the fake platform with a scripted RAUC: rootfs.0 runs 2.0.0.0, rootfs.1 holds 1.0.0.0.
class RaucUpdaterModuleFixture : public testing::Test
{
protected:
    using InstallationState = Services::SoftwareUpdate::InstallationState;
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;
    using ModulePlatform = Tests::Support::ModulePlatform;
    using ResultCode = Services::SoftwareUpdate::ResultCode;
    using ScriptedAnswer = Tests::Support::ScriptedAnswer;
    using ScriptedCall = Tests::Support::ScriptedCall;
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;
    using Type = Services::SoftwareUpdate::SoftwareVersionFileType;
    using Version = Services::SoftwareUpdate::IUpdaterModule::SoftwareVersionType;

    RaucUpdaterModuleFixture();

    /// Creates and initializes the module with a settings document of `elements`.
    void CreateModule(const String& elements = "");

    /// Restarts the device into `slotName`, by default the primary slot: module and RAUC end, the device
    /// reports the version of the slot, and a new module starts over the same status store.
    void RestartDevice(const String& slotName = "");

    /// Delivers a bundle to the module.
    ResultCode Stage(const String& version, const String& compatible = "Controller");

    /// A version as a caller names it.
    [[nodiscard]] static Version MakeVersion(const String& revision,
                                             const String& uri = ModulePlatform::ManufacturerUri);

    /// Asks for the installation of a version.
    ResultCode Install(const String& revision, long long delayMs = 0);

    [[nodiscard]] ResultCode GetRevision(Type type, String& revision) const;

    [[nodiscard]] InstallationState GetState() const { return platform.status->GetRecord(Id).state; }

    [[nodiscard]] String GetMessage() const { return platform.status->GetRecord(Id).message.ToString(); }

    [[nodiscard]] std::vector<String> GetLog(LogLevel level = LogLevel::Info) const
    {
        return log->GetLinesOf("RaucUpdaterModule", level);
    }

    /// Returns when every signal that RAUC has sent before was handled.
    void WaitForSignals();

    [[nodiscard]] bool HasPendingBundle() const;

    inline static const String Id = ModulePlatform::ComponentId;

    Tests::Support::PrivateBus& bus = Tests::Support::PrivateBus::OfProcess();
    Tests::Support::ModulePlatform platform;
    Tests::Support::ScriptedRauc rauc{bus};
    const Tests::Support::RecordingLog log;
    std::unique_ptr<Services::SoftwareUpdate::IUpdaterModule> module;

private:
    int markers = 0;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater

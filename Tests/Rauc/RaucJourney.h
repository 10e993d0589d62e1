#pragma once

#include "RaucUpdater/RaucUpdaterModule.h"
#include "Support/DeviceFolder.h"
#include "Support/ModulePlatform.h"
#include "Support/RecordingLogSink.h"
#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/Services/SoftwareUpdate/ResultCode.h"
#include "Zel/String.h"

#include <gtest/gtest.h>

#include <memory>

namespace Zel::Tests
{

/// A device of version 1.0.0.0, booted from rootfs.0, whose service is fakes around the real module.
class RaucJourney : public ::testing::Test
{
protected:
    using InstallationState = Services::SoftwareUpdate::InstallationState;
    using ResultCode = Services::SoftwareUpdate::ResultCode;
    using FileType = Services::SoftwareUpdate::SoftwareVersionFileType;
    using Module = Services::Modules::SoftwareUpdate::RaucUpdater::RaucUpdaterModule;

    explicit RaucJourney(const Support::DeviceFolder::Options& createOptions = {});

    /// Builds and initializes the module with the firmware version of the booted image.
    void StartModule();

    /// Destroys the module, restarts the device and builds the module again over the same store; the device's
    /// last step of the boot comes after the module's verdict.
    void Restart();

    /// Hands a copy of the bundle to the module, as the service would. `message` is why not.
    ResultCode Stage(const String& bundle, String& message);
    /// Requires that the bundle is taken.
    void StageGood(const String& bundle);

    ResultCode Install(const String& version, long long delay = 0);
    /// Updates to a version, through restart and verdict.
    void Update(const String& version);

    /// Waits until the module has ordered one more restart, about 3 s.
    void WaitForRestart();
    void WaitForEnd();

    /// Returns the module's answer; empty when it has none.
    [[nodiscard]] String GetVersion(FileType type);
    [[nodiscard]] Services::SoftwareUpdate::SoftwareUpdateStatus GetStatus();
    [[nodiscard]] bool IsPending() const;

    Support::DeviceFolder device;
    Support::ModulePlatform platform;
    Support::RecordingLog log;
    std::unique_ptr<Module> module;
    int restarts = 0;
};

} // namespace Zel::Tests

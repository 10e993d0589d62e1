#pragma once

#include "Support/ModulePlatform.h"
#include "Support/RecordingLog.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"

#include <functional>

namespace Zel::Tests
{

using Lines = std::vector<String>;
using InstallationState = Services::SoftwareUpdate::InstallationState;
using ResultCode = Services::SoftwareUpdate::ResultCode;
using FileType = Services::SoftwareUpdate::SoftwareVersionFileType;
using Version = Services::SoftwareUpdate::IUpdaterModule::SoftwareVersionType;

/// The device below a module, with commands and bundle options as those of the program `device`.
struct JourneyDevice
{
    virtual ~JourneyDevice() = default;

    /// Makes a bundle and returns its path.
    [[nodiscard]] virtual String MakeBundle(const String& version, const Lines& options) = 0;

    /// Runs a command and returns what it printed.
    virtual String Run(const String& command, const Lines& arguments) = 0;
};

struct JourneyRun;

/// What the operator or the device does.
using Step = std::function<void(JourneyRun&)>;

/// What a row leaves.
struct JourneyEnd
{
    InstallationState state = InstallationState::Idle;
    bool revertible = false;
    /// The version in the image of the slot that runs; empty where that says nothing.
    String running{};
    String primary = "rootfs.0";
    /// Whether a bundle is pending.
    bool pending = false;
};

/// A row: from a device's first start to what is left in the end.
struct Journey
{
    String name;
    /// Whether RAUC never wrote the device's slots.
    bool isNew = false;
    /// Prepares device and store before the module is created.
    std::vector<Step> before{};
    /// Elements of the settings document.
    String settings{};
    std::vector<Step> steps{};
    /// What was told to the log, the status store, the device and the notifications, in this order: see
    /// `JourneyRun::GetStory`. An asterisk stands for any text.
    Lines story{};
    JourneyEnd end{};
};

/// A device's life with a module on it. Everything is for one thread.
struct JourneyRun
{
    /// Runs the steps and compares with the row.
    void Run();

    void CreateModule();

    /// The device restarts; its last step of the boot comes after the module's verdict.
    void Restart();

    /// Returns when every signal that RAUC has sent before was handled.
    void Settle();

    /// Returns the story since the last restart: the log up to level info, and debug of the module, without
    /// the module's name. A call of the store is its line, progress that reached log and store alike is one
    /// line, as in "progress 100%: Installing done.", "~" is the module's folder, and a countdown, whose
    /// lines come when the machine has time for them, is left out.
    [[nodiscard]] Lines GetStory() const;

    /// Returns the version of the image that runs.
    [[nodiscard]] String GetRunning() { return device.Run("slot-version", {device.Run("booted", {})}); }

    JourneyDevice& device;
    const Journey& journey;
    Support::ModulePlatform platform{};
    Support::RecordingLog log{};
    std::unique_ptr<Services::SoftwareUpdate::IUpdaterModule> module{};
    /// Up to the last restart.
    Lines story{};
    /// How often it has settled.
    int markers = 0;
};

/// The rows that any RAUC makes true, on a new device of version 1.0.0.0 booted from rootfs.0 that RAUC never
/// wrote, with nothing in rootfs.1.
std::vector<Journey> CommonJourneys();

} // namespace Zel::Tests

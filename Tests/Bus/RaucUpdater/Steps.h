#pragma once

#include "Bus/RaucUpdater/Journey.h"

#include <gtest/gtest.h>

namespace Zel::Tests
{

/// What an operator would ask to have installed.
inline Version VersionOf(const String& revision, const String& uri = Support::ModulePlatform::ManufacturerUri)
{
    Version version;
    version.softwareManufacturerUri = uri;
    version.softwareRevision = revision;
    return version;
}

/// Delivers a bundle with options of the program `device`; `message` is why not.
inline Step Stage(const String& version, const Lines& options = {}, ResultCode result = ResultCode::Ok,
                  const String& message = "")
{
    return [=](JourneyRun& run)
    {
        const String path = run.device.MakeBundle(version, options);
        String answer;
        EXPECT_EQ(run.module->SetSoftwarePackage(run.platform.ComponentId, FileType::Pending, path, answer),
                  result)
            << version;
        EXPECT_EQ(answer, message);
        run.Settle();
    };
}

inline Step Install(const Version& version, ResultCode result = ResultCode::Ok, long long delayMs = 0)
{
    return [=](auto& run)
    {
        EXPECT_EQ(run.module->InstallSoftwarePackage(run.platform.ComponentId, version, delayMs), result)
            << version.softwareRevision.GetView();
    };
}

inline Step Install(const String& version, ResultCode result = ResultCode::Ok, long long delayMs = 0)
{
    return Install(VersionOf(version), result, delayMs);
}

inline Step Revert(ResultCode result = ResultCode::Ok)
{
    return [=](auto& run) { EXPECT_EQ(run.module->RevertInstall(run.platform.ComponentId), result); };
}

inline Step Resume(ResultCode result = ResultCode::Ok)
{
    return [=](auto& run) { EXPECT_EQ(run.module->ResumeInstall(run.platform.ComponentId), result); };
}

/// Asks for a version.
inline Step Ask(FileType type, const String& version, ResultCode result = ResultCode::Ok)
{
    return [=](JourneyRun& run)
    {
        Version told;
        EXPECT_EQ(run.module->GetSoftwareVersion(run.platform.ComponentId, type, told), result);
        EXPECT_EQ(told.softwareRevision, version);
    };
}

/// Sets the store's record, with properties of the form "Name=value".
inline Step Stored(InstallationState state, const Lines& properties = {}, bool revertible = false)
{
    return [=](JourneyRun& run)
    {
        run.platform.status->SetState(run.platform.ComponentId, state, revertible);
        for (const String& property : properties)
        {
            const auto end = property.find('=');
            EXPECT_TRUE(run.platform.status->WriteProperty(run.platform.ComponentId, property.substr(0, end),
                                                           property.substr(end + 1), true));
        }
    };
}

/// What the store refuses from now on.
inline Step Refuse(const String& prefix)
{
    return [=](auto& run) { run.platform.status->Refuse(prefix); };
}

/// Waits for an error in the log, or a line of the store, in which an asterisk stands for any text.
inline Step Await(const String& line)
{
    const String whole = line.starts_with("error") ? line : "info FakeUpdaterStatus: " + line;
    return [=](auto& run) { EXPECT_TRUE(run.log.WaitForLine(whole)) << whole; };
}

/// Waits until the module has ordered the restart, and restarts; the slot that comes first may fail to boot.
inline Step Restart(bool isBootFailing = false)
{
    return [=](JourneyRun& run)
    {
        EXPECT_TRUE(run.log.WaitForLine("info FakeDeviceControl: RestartDevice"));
        if (isBootFailing)
        {
            run.device.Run("next-boot-fails", {});
        }
        run.Restart();
    };
}

/// A command of the program `device`.
inline Step Device(const String& command, const Lines& arguments = {})
{
    return [=](auto& run) { run.device.Run(command, arguments); };
}

/// Stages a version, installs it and restarts.
inline Step Update(const String& version)
{
    return [=](auto& run) { Stage(version)(run), Install(version)(run), Restart()(run); };
}

} // namespace Zel::Tests

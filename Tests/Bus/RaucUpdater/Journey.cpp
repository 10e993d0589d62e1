#include "Bus/RaucUpdater/Journey.h"

#include "RaucUpdater/RaucUpdaterModule.h"
#include "Support/BusPeer.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fnmatch.h>
#include <regex>

namespace Zel::Tests
{

namespace
{

using Module = Services::Modules::SoftwareUpdate::RaucUpdater::RaucUpdaterModule;
using Support::BusMessage;
using System::Commons::Diagnostics::Logging::Loggable;
using System::Commons::Diagnostics::Logging::LogLevel;

/// Makes the notifications a part of the story.
class NotificationLog : public System::Nm::INotificationSink, private Loggable<NotificationLog>
{
public:
    void Write(const System::Nm::Notification& notification) override
    {
        Log(LogLevel::Info, "{0} {1} ({2}): {3}", ToString(notification.severity), notification.name,
            notification.sender, notification.message);
    }
};

/// As of the story; empty for a line that is no part of it.
String ToStoryLine(const String& line, const String& folder)
{
    static const std::vector<std::pair<std::regex, const char*>> Rules = {
        {std::regex("^trace .*|^debug (?!RaucUpdaterModule).*|.*: (Initialize: ~|Dispose \\().*"), ""},
        {std::regex("^info (FakeUpdaterStatus|FakeDeviceControl|NotificationLog): "), ""},
        {std::regex("^([a-z]+) RaucUpdaterModule: "), "$1: "}};
    String text = std::regex_replace(line, std::regex(folder), "~");
    for (const auto& [pattern, replacement] : Rules)
    {
        text = std::regex_replace(text, pattern, replacement);
    }
    return text;
}

/// Folds log line, message and percentage of each step, and steps that follow each other, into one line. That
/// RAUC clears its last error comes before the first step or after it.
Lines FoldProgress(const Lines& lines)
{
    static const std::regex Step("info: \\(\\d+\\) ((\\d+)%: (.*))");
    Lines folded;
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        std::smatch step;
        const bool isProgressing = !folded.empty() && folded.back().starts_with("progress ");
        if (i + 2 < lines.size() && std::regex_match(lines[i], step, Step) &&
            lines[i + 1] == "SetMessage '" + step.str(3) + "'" &&
            lines[i + 2] == "SetProgress " + step.str(2))
        {
            if (isProgressing || (!folded.empty() && folded.back() == "SetMessage ''"))
            {
                folded.pop_back();
            }
            folded.push_back("progress " + step.str(1));
            i += 2;
        }
        else if (!isProgressing || lines[i] != "SetMessage ''")
        {
            folded.push_back(lines[i]);
        }
    }
    return folded;
}

MATCHER_P(TellsLike, pattern, "")
{
    return arg == pattern ||
           (pattern.find('*') != String::npos && fnmatch(pattern.c_str(), arg.c_str(), FNM_NOESCAPE) == 0);
}

void ExpectStory(const Lines& story, const Lines& expected)
{
    std::vector<testing::Matcher<String>> matchers;
    for (const String& line : expected)
    {
        matchers.emplace_back(TellsLike(line));
    }
    EXPECT_THAT(story, testing::ElementsAreArray(matchers)) << "The story was:\n" << Join(story, "\n");
}

} // namespace

JourneyRun::JourneyRun(JourneyDevice& usedDevice, const Journey& usedJourney)
    : device(usedDevice), journey(usedJourney)
{
    platform.notificationManager->AddSink(std::make_shared<NotificationLog>());
}

void JourneyRun::Run()
{
    ReadFacts();
    for (const Step& step : journey.before)
    {
        step(*this);
    }
    log->Clear();
    CreateModule();
    for (const Step& step : journey.steps)
    {
        step(*this);
    }
    Settle();
    ExpectEnd();
}

void JourneyRun::ReadFacts()
{
    std::array<int, 4> part{};
    const String version = device.Run("slot-version", {device.Run("booted", {})});
    std::sscanf(version.c_str(), "%d.%d.%d.%d", &part[0], &part[1], &part[2], &part[3]);
    platform.deviceInfo->SetFirmwareVersion(part[0], part[1], part[2], part[3]);
}

void JourneyRun::CreateModule()
{
    module = std::make_unique<Module>();
    module->Initialize(platform.WriteSettings(journey.settings), platform.status);
}

void JourneyRun::Restart()
{
    module.reset();
    story = story + GetStory() + Lines{"-- restart"};
    log->Clear();
    device.Run("shutdown", {});
    device.Run("boot", {});
    ReadFacts();
    CreateModule();
    device.Run("mark-good", {});
}

void JourneyRun::Settle()
{
    const String marker = "marker" + std::to_string(++markers);
    Support::BusPeer peer(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), "", [](const BusMessage&) {});
    const String interfaceName = "de.pengutronix.rauc.Installer";
    peer.Send(BusMessage::Signal("/", interfaceName, marker));
    EXPECT_TRUE(log->WaitForLine("debug DesktopBusConnection: Ignore signal: Path=/; interface=" +
                                 interfaceName + "; member=" + marker));
}

Lines JourneyRun::GetStory() const
{
    Lines lines;
    for (const String& line : log->GetLines(LogLevel::Debug))
    {
        if (const String text = ToStoryLine(line, platform.folder.GetPath()); !text.empty())
        {
            lines.push_back(text);
        }
    }
    return FoldProgress(lines);
}

String JourneyRun::GetVersion(FileType type, ResultCode expected)
{
    Version version;
    EXPECT_EQ(module->GetSoftwareVersion(platform.ComponentId, type, version), expected);
    return version.softwareRevision.ToString();
}

void JourneyRun::ExpectEnd()
{
    ExpectStory(story + GetStory(), journey.story);
    Services::SoftwareUpdate::SoftwareUpdateStatus status;
    platform.status->Refuse("");
    EXPECT_EQ(module->GetStatus(platform.ComponentId, status), ResultCode::Ok);
    EXPECT_EQ(status.state, journey.state);
    EXPECT_EQ(status.revertible, journey.revertible);
    if (!journey.running.empty())
    {
        EXPECT_EQ(GetVersion(FileType::Current), journey.running);
        EXPECT_EQ(device.Run("slot-version", {device.Run("booted", {})}), journey.running);
    }
    EXPECT_EQ(device.Run("primary", {}), journey.primary);
    const Lines files = journey.pending ? Lines{"pending.raucb", "settings.xml"} : Lines{"settings.xml"};
    EXPECT_EQ(platform.folder.GetNames(), files);
}

Step Stage(const String& version, const Lines& options, ResultCode result, const String& message)
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

Step Install(const String& version, ResultCode result, long long delayMs)
{
    return [=](JourneyRun& run)
    {
        Version wanted;
        wanted.softwareManufacturerUri = run.platform.ManufacturerUri;
        wanted.softwareRevision = version;
        EXPECT_EQ(run.module->InstallSoftwarePackage(run.platform.ComponentId, wanted, delayMs), result)
            << version;
    };
}

Step Revert(ResultCode result)
{
    return [=](JourneyRun& run) { EXPECT_EQ(run.module->RevertInstall(run.platform.ComponentId), result); };
}

Step Resume(ResultCode result)
{
    return [=](JourneyRun& run) { EXPECT_EQ(run.module->ResumeInstall(run.platform.ComponentId), result); };
}

Step Ask(FileType type, const String& version, ResultCode result)
{
    return [=](JourneyRun& run) { EXPECT_EQ(run.GetVersion(type, result), version); };
}

Step Revertible(bool isRevertible)
{
    return [=](JourneyRun& run)
    {
        Services::SoftwareUpdate::SoftwareUpdateStatus status;
        EXPECT_EQ(run.module->GetStatus(run.platform.ComponentId, status), ResultCode::Ok);
        EXPECT_EQ(status.revertible, isRevertible);
    };
}

Step Stored(InstallationState state, const Lines& properties, bool revertible)
{
    return [=](JourneyRun& run)
    {
        run.platform.status->SetState(run.platform.ComponentId, state, revertible);
        for (const String& property : properties)
        {
            const auto separator = property.find('=');
            EXPECT_TRUE(run.platform.status->WriteProperty(run.platform.ComponentId,
                                                           property.substr(0, separator),
                                                           property.substr(separator + 1), true));
        }
    };
}

Step Refuse(const String& prefix)
{
    return [=](JourneyRun& run) { run.platform.status->Refuse(prefix); };
}

Step Settle()
{
    return [](JourneyRun& run) { run.Settle(); };
}

Step Await(const String& line)
{
    return [=](JourneyRun& run)
    {
        const String whole =
            line.find(": ") == String::npos || line.starts_with("SetMessage")
                ? "info FakeUpdaterStatus: " + line
                : line.substr(0, line.find(": ")) + " RaucUpdaterModule" + line.substr(line.find(": "));
        EXPECT_TRUE(run.log->WaitForLine(whole)) << whole;
    };
}

Step Restart(bool isBootFailing)
{
    return [=](JourneyRun& run)
    {
        EXPECT_TRUE(run.log->WaitForLine("info FakeDeviceControl: RestartDevice"));
        if (isBootFailing)
        {
            run.device.Run("next-boot-fails", {});
        }
        run.Restart();
    };
}

Step Device(const String& command, const Lines& arguments)
{
    return [=](JourneyRun& run) { run.device.Run(command, arguments); };
}

Step Update(const String& version)
{
    return [=](JourneyRun& run)
    {
        Stage(version)(run);
        Install(version)(run);
        Restart()(run);
    };
}

Lines operator+(Lines first, const Lines& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Lines Staged(const String& version)
{
    return {"info VersionManager: Verify pending version.",
            "info VersionManager: The pending version '" + version + "' is accepted."};
}

Lines Begun(const String& target, const String& running, const String& slot)
{
    return {"SetMessage new ''",
            "WriteProperty TargetSoftwareRevision=",
            "WriteProperty InstallerSlotName=",
            "WriteProperty RevertedTo=",
            "BeginInstallation installation",
            "debug: Installing...",
            "WriteProperty TargetSoftwareRevision=" + target,
            "WriteProperty InstallerSlotName=" + slot,
            "info: Updating from version '" + running + "' to version '" + target + "'."};
}

Lines DelayedBegin(const String& target, const String& slot, const String& fileType)
{
    auto lines = Begun(target, "", slot);
    lines.back() =
        "info: The " + fileType + " version " + target + " is going to be installed at 20*-*-*T*:*:*.";
    return lines;
}

Lines Broken(const String& reason)
{
    return {"error: LastErrorChanged: " + reason, "SetMessage '" + reason + "'",
            "info: Installation HasCompleted=false", "EndInstallation failed"};
}

Lines Installing(const String& progress)
{
    return {"info: The pending version will be installed.", "progress " + progress};
}

Lines FallingBack()
{
    return {"info: The fallback version will be installed."};
}

Lines Rebooted()
{
    return {"info: The device is going to reboot.", "SetMessage 'The device is going to reboot.'",
            "RestartDevice", "-- restart"};
}

Lines Confirmed(const String& version, bool isPending)
{
    return Lines{"debug: CompleteInstallation", "info: " + Mismatch(version, version),
                 SucceededNotification(version)} +
           (isPending ? Lines{"info: Deleting pending firmware image ~/pending.raucb"} : Lines{}) +
           Lines{"EndInstallation succeeded"};
}

Lines Denied(const String& version, const String& reason, bool isPending)
{
    return Lines{"SetMessage '" + reason + "'", FailedNotification(version, reason)} +
           (isPending ? Lines{"info: Deleting pending firmware image ~/pending.raucb"} : Lines{}) +
           Lines{"EndInstallation failed"};
}

Lines Updated(const String& target, const String& running, const String& slot)
{
    return Staged(target) + Begun(target, running, slot) + Installing() +
           Lines{"info: Installation HasCompleted=true"} + Rebooted() + Confirmed(target);
}

String Mismatch(const String& target, const String& running)
{
    return "Expected version is '" + target + "'. Current version is '" + running + "'.";
}

String SucceededNotification(const String& version)
{
    return "Information Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Succeeded (Software "
           "Update): Installation of firmware package (version: " +
           version + ") successful.";
}

String FailedNotification(const String& version, const String& reason)
{
    return "Error Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed (Software Update): "
           "Failed to install firmware package (version: " +
           version + "). Reason: " + reason + ".";
}

} // namespace Zel::Tests

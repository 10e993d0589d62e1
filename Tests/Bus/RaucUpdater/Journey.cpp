#include "Bus/RaucUpdater/Journey.h"

#include "RaucUpdater/RaucUpdaterModule.h"

#include <gmock/gmock.h>

#include <regex>
#include <sstream>
#include <systemd/sd-bus.h>

namespace Zel::Tests
{

namespace
{

const String Id = Support::ModulePlatform::ComponentId;

/// As of the story. That RAUC clears its last error comes before the first step or after it.
String ToStory(String text)
{
    static const auto Line = [](const char* pattern)
    { return std::regex(pattern, std::regex::ECMAScript | std::regex::multiline); };
    static const std::pair<std::regex, const char*> Rules[] = {
        {Line("^(trace .*|debug (?!RaucUpdaterModule).*|.*: (Initialize: ~|Dispose \\().*)\n"), ""},
        {Line("^.*: SetMessage 'The version .* is going to be installed in \\d+ seconds.'\n"), ""},
        {Line("^info (FakeUpdaterStatus|FakeDeviceControl|NotificationLog): "), ""},
        {Line("^([a-z]+) RaucUpdaterModule: "), "$1: "},
        {Line("^info: \\(\\d+\\) ((\\d+)%: (.*))\nSetMessage '\\3'\nSetProgress \\2$"), "progress $1"},
        {Line("^SetMessage ''\n(?=progress)"), ""},
        {Line("^(progress .*\n)SetMessage ''\n"), "$1"},
        {Line("^(progress .*\n)+(?=progress)"), ""}};
    for (const auto& [pattern, replacement] : Rules)
    {
        text = std::regex_replace(text, pattern, replacement);
    }
    return text;
}

MATCHER(TellsLike, "")
{
    return Support::RecordingLog::IsLike(std::get<0>(arg), std::get<1>(arg));
}

Lines DeletedIf(bool isPending)
{
    return isPending ? Lines{"info: Deleting pending firmware image ~/pending.raucb"} : Lines{};
}

} // namespace

void JourneyRun::Run()
{
    const auto take = [this](const Step& step) { step(*this); };
    const JourneyEnd& end = journey.end;
    platform.deviceInfo->SetFirmwareVersion(GetRunning());
    std::ranges::for_each(journey.before, take);
    log.Clear();
    CreateModule();
    std::ranges::for_each(journey.steps, take);
    Settle();

    Services::SoftwareUpdate::SoftwareUpdateStatus status;
    platform.status->Refuse("");
    EXPECT_EQ(module->GetStatus(Id, status), ResultCode::Ok);
    const Lines told = story + GetStory();
    EXPECT_THAT(told, testing::Pointwise(TellsLike(), journey.story)) << "The story was:\n"
                                                                      << Join(told, "\n");
    EXPECT_EQ(status.state, end.state);
    EXPECT_EQ(status.revertible, end.revertible);
    if (!end.running.empty())
    {
        Ask(FileType::Current, end.running)(*this);
        EXPECT_EQ(GetRunning(), end.running);
    }
    EXPECT_EQ(device.Run("primary", {}), end.primary);
    EXPECT_EQ(platform.folder.GetNames(),
              (end.pending ? Lines{"pending.raucb"} : Lines{}) + Lines{"settings.xml"});
}

void JourneyRun::CreateModule()
{
    module.reset();
    module = std::make_unique<Services::Modules::SoftwareUpdate::RaucUpdater::RaucUpdaterModule>();
    module->Initialize(platform.WriteSettings(journey.settings), platform.status);
}

void JourneyRun::Restart()
{
    module.reset();
    story = story + GetStory() + Lines{"-- restart"};
    log.Clear();
    device.Run("shutdown", {});
    device.Run("boot", {});
    platform.deviceInfo->SetFirmwareVersion(GetRunning());
    CreateModule();
    device.Run("mark-good", {});
}

void JourneyRun::Settle()
{
    // What follows its last answer was sent when the next command is done.
    device.Run("primary", {});
    const String marker = "marker" + std::to_string(++markers);
    const String interfaceName = "de.pengutronix.rauc.Installer";
    sd_bus* client = nullptr;
    sd_bus_open_system(&client);
    EXPECT_GE(sd_bus_emit_signal(client, "/", interfaceName.c_str(), marker.c_str(), ""), 0);
    sd_bus_flush_close_unref(client);
    EXPECT_TRUE(log.WaitForLine("debug DesktopBusConnection: Ignore signal: Path=/; interface=" +
                                interfaceName + "; member=" + marker));
}

Lines JourneyRun::GetStory() const
{
    const String text = Join(log.GetLines(Support::RecordingLog::LogLevel::Debug), "\n") + "\n";
    std::istringstream story(ToStory(std::regex_replace(text, std::regex(platform.folder.GetPath()), "~")));
    Lines lines;
    for (String line; std::getline(story, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

Version VersionOf(const String& revision, const String& uri)
{
    Version version;
    version.softwareManufacturerUri = uri;
    version.softwareRevision = revision;
    return version;
}

Step Stage(const String& version, const Lines& options, ResultCode result, const String& message)
{
    return [=](JourneyRun& run)
    {
        const String path = run.device.MakeBundle(version, options);
        String answer;
        EXPECT_EQ(run.module->SetSoftwarePackage(Id, FileType::Pending, path, answer), result) << version;
        EXPECT_EQ(answer, message);
        run.Settle();
    };
}

Step Install(const String& version, ResultCode result, long long delayMs)
{
    return Install(VersionOf(version), result, delayMs);
}

Step Install(const Version& version, ResultCode result, long long delayMs)
{
    return [=](auto& run)
    {
        EXPECT_EQ(run.module->InstallSoftwarePackage(Id, version, delayMs), result)
            << version.softwareRevision.GetView();
    };
}

Step Revert(ResultCode result)
{
    return [=](auto& run) { EXPECT_EQ(run.module->RevertInstall(Id), result); };
}

Step Resume(ResultCode result)
{
    return [=](auto& run) { EXPECT_EQ(run.module->ResumeInstall(Id), result); };
}

Step Ask(FileType type, const String& version, ResultCode result)
{
    return [=](JourneyRun& run)
    {
        Version told;
        EXPECT_EQ(run.module->GetSoftwareVersion(Id, type, told), result);
        EXPECT_EQ(told.softwareRevision, version);
    };
}

Step Stored(InstallationState state, const Lines& properties, bool revertible)
{
    return [=](JourneyRun& run)
    {
        run.platform.status->SetState(Id, state, revertible);
        for (const String& property : properties)
        {
            const auto end = property.find('=');
            EXPECT_TRUE(run.platform.status->WriteProperty(Id, property.substr(0, end),
                                                           property.substr(end + 1), true));
        }
    };
}

Step Refuse(const String& prefix)
{
    return [=](auto& run) { run.platform.status->Refuse(prefix); };
}

Step Await(const String& line)
{
    const String whole = line.starts_with("error") ? line : "info FakeUpdaterStatus: " + line;
    return [=](auto& run) { EXPECT_TRUE(run.log.WaitForLine(whole)) << whole; };
}

Step Restart(bool isBootFailing)
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

Step Device(const String& command, const Lines& arguments)
{
    return [=](auto& run) { run.device.Run(command, arguments); };
}

Step Update(const String& version)
{
    return [=](auto& run) { Stage(version)(run), Install(version)(run), Restart()(run); };
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

Lines Begun(const String& target, const String& running, const String& slot, std::size_t count)
{
    Lines lines = {"SetMessage new ''",
                   "WriteProperty TargetSoftwareRevision=",
                   "WriteProperty InstallerSlotName=",
                   "WriteProperty RevertedTo=",
                   "BeginInstallation installation",
                   "debug: Installing...",
                   "WriteProperty TargetSoftwareRevision=" + target,
                   "WriteProperty InstallerSlotName=" + slot,
                   "info: Updating from version '" + running + "' to version '" + target + "'."};
    lines.resize(count);
    return lines;
}

Lines BegunLater(const String& target, const String& running, const String& fileType)
{
    return Begun(target, running, "rootfs.0", 8) + Lines{"info: The " + fileType + " version " + target +
                                                             " is going to be installed at 20*-*-*T*:*:*.",
                                                         "debug: Start delayed installation.",
                                                         Begun(target, running, "").back()};
}

Lines Installing(const String& progress)
{
    return {"info: The pending version will be installed.", "progress " + progress};
}

Lines NoPackage(const String& version)
{
    const String text =
        "There is not a software package with software revision '" + version + "' and patch identifiers ''. ";
    return {"warning VersionManager: Failed to read fallback version. Maybe there is no other valid slot. "
            "Attempt: 1",
            "SetMessage new '" + text + "'", "error: " + text};
}

Lines FellBack(const String& target, const String& running, const String& slot)
{
    return Begun(target, running, slot) + Lines{"info: The fallback version will be installed."} +
           Rebooted() + Confirmed(target, false);
}

Lines Rebooted()
{
    return {"info: The device is going to reboot.", "SetMessage 'The device is going to reboot.'",
            "RestartDevice", "-- restart"};
}

Lines Confirmed(const String& version, bool isPending)
{
    return Lines{"debug: CompleteInstallation", "info: " + Mismatch(version, version),
                 "Information Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Succeeded "
                 "(Software Update): Installation of firmware package (version: " +
                     version + ") successful."} +
           DeletedIf(isPending) + Lines{"EndInstallation succeeded"};
}

Lines Denied(const String& version, const String& reason, bool isPending)
{
    return Lines{"SetMessage '" + reason + "'", FailedNotification(version, reason)} + DeletedIf(isPending) +
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

String FailedNotification(const String& version, const String& reason)
{
    return "Error Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed (Software Update): "
           "Failed to install firmware package (version: " +
           version + "). Reason: " + reason + ".";
}

} // namespace Zel::Tests

#include "Bus/RaucUpdater/Steps.h"
#include "Bus/RaucUpdater/Stories.h"

#include "RaucUpdater/RaucUpdaterModule.h"

#include <gmock/gmock.h>

#include <regex>
#include <sstream>
#include <systemd/sd-bus.h>

namespace Zel::Tests
{

namespace
{

/// As of the story. That RAUC clears its last error comes before the first step or after it.
String ToStory(String text)
{
    static const auto Line = [](const char* pattern)
    { return std::regex(pattern, std::regex::ECMAScript | std::regex::multiline); };
    static const std::pair<std::regex, const char*> Rules[] = {
        {Line("^(trace .*|debug (?!RaucUpdaterModule).*|.*: (Initialize: ~|Dispose \\().*)\n"), ""},
        {Line("^.*: SetMessage 'The version .* is going to be installed in [1-9]\\d* seconds.'\n"), ""},
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
    EXPECT_EQ(module->GetStatus(platform.ComponentId, status), ResultCode::Ok);
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

} // namespace Zel::Tests

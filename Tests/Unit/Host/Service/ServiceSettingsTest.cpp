#include "Service/ServiceSettings.h"

#include "Support/RecordingLog.h"
#include "Support/TemporaryFolder.h"
#include "Support/Thrown.h"

#include <gmock/gmock.h>

namespace Zel::Host::Service
{

using namespace testing;
using System::Commons::Diagnostics::Logging::LogLevel;

struct ServiceSettingsTest : Test
{
    void Load(const String& content)
    {
        settings.emplace().Load(folder.Write("settings.xml", "<ZelUpdatedSettingsDocument>\n" + content +
                                                                 "\n</ZelUpdatedSettingsDocument>"));
    }

    const String module =
        "<Module><Library>lib/a.so</Library><Name>A</Name><Settings>a.xml</Settings></Module>";
    const String required =
        module + "<DataFolder>/var/lib/zel</DataFolder><DeviceInfoFile>device-info</DeviceInfoFile>";
    const Tests::Support::TemporaryFolder folder;
    const Tests::Support::RecordingLog log;
    std::optional<ServiceSettings> settings;
};

TEST_F(ServiceSettingsTest, EveryElementIsReadAndThoseThatAreNotRequiredHaveDefaults)
{
    Load(required);
    EXPECT_THAT(settings->GetRestartCommand(), IsEmpty());
    EXPECT_EQ(settings->GetBootIdFile(), "/proc/sys/kernel/random/boot_id");
    EXPECT_EQ(settings->GetConfirmationTimeout(), 0);
    EXPECT_EQ(settings->GetLogLevel(), LogLevel::Info);
    EXPECT_EQ(settings->GetLogSink(), LogSinkKind::Automatic);
    Load(required + "<RestartCommand><Argument>reboot</Argument><Argument/></RestartCommand>"
                    "<BootIdFile>boot-id</BootIdFile>"
                    "<ConfirmationTimeout>4294967295</ConfirmationTimeout>"
                    "<LogLevel>trace</LogLevel><LogSink>journal</LogSink><Unknown/>");
    ASSERT_THAT(settings->GetModules(), SizeIs(1));
    EXPECT_EQ(settings->GetModules()[0].library, folder / "lib/a.so");
    EXPECT_EQ(settings->GetModules()[0].settings, folder / "a.xml");
    EXPECT_EQ(settings->GetDataFolder(), "/var/lib/zel");
    EXPECT_EQ(settings->GetDeviceInfoFile(), folder / "device-info");
    EXPECT_THAT(settings->GetRestartCommand(), ElementsAre("reboot", ""));
    EXPECT_EQ(settings->GetBootIdFile(), folder / "boot-id");
    EXPECT_EQ(settings->GetConfirmationTimeout(), 4294967295);
    EXPECT_EQ(settings->GetLogLevel(), LogLevel::Trace);
    EXPECT_EQ(settings->GetLogSink(), LogSinkKind::Journal);
    EXPECT_THAT(log.GetLines(LogLevel::Warning), ElementsAre(HasSubstr("Unknown")));
}

TEST_F(ServiceSettingsTest, ABrokenDocumentIsRefusedWithFileAndLine)
{
    const std::vector<std::pair<String, String>> rows = {
        {"", ":3: "},
        {"<DataFolder>/d</DataFolder><DeviceInfoFile>i</DeviceInfoFile>", "Module"},
        {module + "<DeviceInfoFile>i</DeviceInfoFile>", "DataFolder"},
        {module + "<DataFolder>/d</DataFolder>", "DeviceInfoFile"},
        {"<Module><Library>a</Library><Settings>a</Settings></Module>", "Name"},
        {"<Module><Library/><Name>A</Name><Settings>a</Settings></Module>", ":2: Library must not be empty."},
        {required + "\n" + module, ":3: There can be one Module only."},
        {required + "\n<RestartCommand></RestartCommand>", "Argument"},
        {required + "\n<RestartCommand><Argument/></RestartCommand>", ":3: Argument must not be empty."},
        {required + "\n<ConfirmationTimeout>soon</ConfirmationTimeout>",
         ":3: ConfirmationTimeout must be a whole number of seconds, but is 'soon'."},
        {required + "\n<ConfirmationTimeout>-1</ConfirmationTimeout>", "but is '-1'."},
        {required + "\n<ConfirmationTimeout>4294967296</ConfirmationTimeout>", "but is '4294967296'."},
        {required + "\n<LogLevel>loud</LogLevel>",
         ":3: LogLevel must be one of error, warning, info, debug, trace, but is 'loud'."},
        {required + "\n<LogSink>Journal</LogSink>",
         ":3: LogSink must be one of automatic, console, journal, but is 'Journal'."},
        {required + "\ntext", ":2: unexpected text"},
        {required + "\n<DataFolder>${NOWHERE}/d</DataFolder>", "NOWHERE"},
    };
    for (const auto& [content, reason] : rows)
    {
        log.Clear();
        const auto load = [this, &broken = content] { Load(broken); };
        EXPECT_THAT(Tests::Support::GetThrown(load),
                    AllOf(HasSubstr(folder / "settings.xml:"), HasSubstr(reason)));
        EXPECT_THAT(log.GetLines(LogLevel::Error), SizeIs(1)) << content;
    }
}

TEST_F(ServiceSettingsTest, TheExampleDocumentIsAccepted)
{
    settings.emplace().Load(ZEL_EXAMPLE_SETTINGS);
    EXPECT_THAT(log.GetLines(LogLevel::Warning), IsEmpty());
    EXPECT_EQ(settings->GetModules().at(0).name, "RaucUpdater");
}

} // namespace Zel::Host::Service

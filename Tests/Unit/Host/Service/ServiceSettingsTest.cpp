#include "Service/ServiceSettings.h"

#include "Zel/System/Commons/XmlException.h"

#include "Support/RecordingLogSink.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Zel::Host::Service
{

using System::Commons::XmlException;
using System::Commons::Diagnostics::Logging::LogLevel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Tests::Support::RecordingLog;
using Tests::Support::TemporaryFolder;

namespace
{

const String Module = "<Module><Library>lib/a.so</Library><Name>A</Name><Settings>a.xml</Settings></Module>";
const String Required =
    Module + "<DataFolder>/var/lib/zel</DataFolder><DeviceInfoFile>device-info</DeviceInfoFile>";

String AsDocument(const String& content)
{
    return "<ZelUpdatedSettingsDocument>\n" + content + "\n</ZelUpdatedSettingsDocument>";
}

} // namespace

TEST(ServiceSettingsTest, ADocumentWithTheRequiredElementsGetsTheDefaults)
{
    const TemporaryFolder folder;
    ServiceSettings settings;
    settings.Load(folder.Write("settings.xml", AsDocument(Required)));
    ASSERT_THAT(settings.GetModules(), SizeIs(1));
    EXPECT_EQ(settings.GetModules()[0].library, folder / "lib/a.so");
    EXPECT_EQ(settings.GetModules()[0].name, "A");
    EXPECT_EQ(settings.GetModules()[0].settings, folder / "a.xml");
    EXPECT_EQ(settings.GetDataFolder(), "/var/lib/zel");
    EXPECT_EQ(settings.GetDeviceInfoFile(), folder / "device-info");
    EXPECT_THAT(settings.GetRestartCommand(), IsEmpty());
    EXPECT_EQ(settings.GetBootIdFile(), "/proc/sys/kernel/random/boot_id");
    EXPECT_EQ(settings.GetConfirmationTimeout(), 0);
    EXPECT_EQ(settings.GetLogLevel(), LogLevel::Info);
    EXPECT_EQ(settings.GetLogSink(), LogSinkKind::Automatic);
}

TEST(ServiceSettingsTest, EveryElementIsRead)
{
    const TemporaryFolder folder;
    const RecordingLog log;
    ServiceSettings settings;
    settings.Load(folder.Write(
        "settings.xml", AsDocument(Required + Module +
                                   "<RestartCommand><Argument>reboot</Argument><Argument/></RestartCommand>"
                                   "<BootIdFile>boot-id</BootIdFile>"
                                   "<ConfirmationTimeout>4294967295</ConfirmationTimeout>"
                                   "<LogLevel>trace</LogLevel><LogSink>journal</LogSink><Unknown/>")));
    EXPECT_THAT(settings.GetModules(), SizeIs(2));
    EXPECT_THAT(settings.GetRestartCommand(), ElementsAre("reboot", ""));
    EXPECT_EQ(settings.GetBootIdFile(), folder / "boot-id");
    EXPECT_EQ(settings.GetConfirmationTimeout(), 4294967295);
    EXPECT_EQ(settings.GetLogLevel(), LogLevel::Trace);
    EXPECT_EQ(settings.GetLogSink(), LogSinkKind::Journal);
    EXPECT_THAT(log->GetLines(LogLevel::Warning), ElementsAre(HasSubstr("Unknown")));
}

TEST(ServiceSettingsTest, ABrokenDocumentIsRefusedWithFileAndLine)
{
    struct Row
    {
        String content;
        const char* reason;
    };

    const std::vector<Row> rows = {
        {"", ":3: "},
        {"<DataFolder>/d</DataFolder><DeviceInfoFile>i</DeviceInfoFile>", "Module"},
        {Module + "<DeviceInfoFile>i</DeviceInfoFile>", "DataFolder"},
        {Module + "<DataFolder>/d</DataFolder>", "DeviceInfoFile"},
        {"<Module><Library>a</Library><Settings>a</Settings></Module>", "Name"},
        {"<Module><Library/><Name>A</Name><Settings>a</Settings></Module>", ":2: Library must not be empty."},
        {Required + "\n<DataFolder></DataFolder>", ":3: DataFolder must not be empty."},
        {Required + "\n<RestartCommand></RestartCommand>", "Argument"},
        {Required + "\n<RestartCommand><Argument/></RestartCommand>", ":3: Argument must not be empty."},
        {Required + "\n<ConfirmationTimeout>soon</ConfirmationTimeout>",
         ":3: ConfirmationTimeout must be a whole number of seconds, but is 'soon'."},
        {Required + "\n<ConfirmationTimeout>-1</ConfirmationTimeout>", "but is '-1'."},
        {Required + "\n<ConfirmationTimeout>4294967296</ConfirmationTimeout>", "but is '4294967296'."},
        {Required + "\n<ConfirmationTimeout>5 </ConfirmationTimeout>", "but is '5 '."},
        {Required + "\n<LogLevel>loud</LogLevel>",
         ":3: LogLevel must be one of error, warning, info, debug, trace, but is 'loud'."},
        {Required + "\n<LogSink>Journal</LogSink>",
         ":3: LogSink must be one of automatic, console, journal, but is 'Journal'."},
        {Required + "\ntext", ":2: unexpected text"},
        {Required + "\n<DataFolder>${NOWHERE}/d</DataFolder>", "NOWHERE"},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.content);
        const String path = folder.Write("settings.xml", AsDocument(row.content));
        const RecordingLog log;
        ServiceSettings settings;
        try
        {
            settings.Load(path);
            ADD_FAILURE() << "It was accepted.";
        }
        catch (const XmlException& exception)
        {
            EXPECT_THAT(exception.GetMessage(), HasSubstr(path + ":"));
            EXPECT_THAT(exception.GetMessage(), HasSubstr(row.reason));
        }
        EXPECT_THAT(log->GetLines(LogLevel::Error), SizeIs(1));
    }
}

TEST(ServiceSettingsTest, TheExampleDocumentIsAccepted)
{
    const RecordingLog log;
    ServiceSettings settings;
    settings.Load(ZEL_EXAMPLE_SETTINGS);
    EXPECT_THAT(log->GetLines(LogLevel::Warning), IsEmpty());
    EXPECT_EQ(settings.GetModules().at(0).name, "RaucUpdater");
}

} // namespace Zel::Host::Service

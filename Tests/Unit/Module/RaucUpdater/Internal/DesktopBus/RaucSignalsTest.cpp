#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Support/BusMessage.h"
#include "Support/RecordedSignals.h"
#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using Tests::Support::BusMessage;
using Tests::Support::BusWriter;
using Tests::Support::RecordedSignals;
using Tests::Support::RecordingLog;
using Lines = std::vector<String>;

const String Rauc = "de.pengutronix.rauc.Installer";

/// Signals as messages that no bus has seen.
class RaucSignalsTest : public testing::Test
{
protected:
    struct Case
    {
        String name;
        BusWriter::Write arguments;
        bool result;
        Lines raised;
        /// The last line of the log.
        Lines lastLine;
    };

    template <typename Signal>
    static void Expect(const std::vector<Case>& cases)
    {
        for (const auto& expected : cases)
        {
            const RecordedSignals received;
            const RecordingLog log;
            const auto message =
                BusMessage::Signal("/", Signal::SignalInterface, Signal::SignalName).With(expected.arguments);
            EXPECT_EQ(Signal::Notify(DesktopBusMessage(message.Share())), expected.result) << expected.name;
            EXPECT_EQ(received.GetLines(), expected.raised) << expected.name;
            const auto lines = log->GetLines();
            EXPECT_EQ(Lines(lines.empty() ? lines.end() : lines.end() - 1, lines.end()), expected.lastLine)
                << expected.name;
        }
    }

    static BusWriter::Write Changed(const BusWriter::Write& entries, const String& interfaceName = Rauc)
    {
        return [=](BusWriter& writer)
        { writer.Text(interfaceName).Array("{sv}", entries).Array("s", [](BusWriter&) {}); };
    }

    static void AddText(BusWriter& entries, const String& name, const String& text)
    {
        entries.Entry(name, "s", [&](BusWriter& value) { value.Text(text); });
    }

    static void AddProgress(BusWriter& entries)
    {
        entries.Entry(
            "Progress", "(isi)",
            [](BusWriter& value)
            { value.Struct([](BusWriter& members) { members.Int32(40).Text("Copying").Int32(1); }); });
    }
};

TEST_F(RaucSignalsTest, ChangedPropertiesAreRaisedInTheirOrderUpToTheFirstUnknownOne)
{
    Expect<PropertiesChangedSignal>({
        {"two",
         Changed(
             [](BusWriter& entries)
             {
                 AddText(entries, "Operation", "installing");
                 AddProgress(entries);
             }),
         true,
         {"Operation installing", "Progress 40 Copying 1"},
         {"debug RaucOperationProperty: operation=installing"}},
        {"failure",
         Changed(
             [](BusWriter& entries)
             {
                 AddProgress(entries);
                 AddText(entries, "LastError", "no space");
             }),
         true,
         {"Progress 40 Copying 1", "LastError no space"},
         {"debug RaucLastErrorProperty: Message=no space"}},
        {"start",
         Changed(
             [](BusWriter& entries)
             {
                 AddText(entries, "BootSlot", "A");
                 AddText(entries, "Compatible", "Controller");
             }),
         false,
         {},
         {"debug PropertiesChangedSignal: Unsupported property: BootSlot"}},
        {"unknown between",
         Changed(
             [](BusWriter& entries)
             {
                 AddProgress(entries);
                 AddText(entries, "BootSlot", "A");
                 AddText(entries, "LastError", "x");
             }),
         false,
         {"Progress 40 Copying 1"},
         {"debug PropertiesChangedSignal: Unsupported property: BootSlot"}},
        {"unreadable",
         Changed(
             [](BusWriter& entries)
             {
                 AddText(entries, "Progress", "40");
                 AddText(entries, "LastError", "x");
             }),
         false,
         {},
         {"error RaucProgressProperty: Failed to enter struct. Fields: [{DesktopBusField=[type=variant: "
          "s(118); "
          "value=[{DesktopBusField=[type=string(115); value=\"40\"]}]]}]"}},
        {"none", Changed([](BusWriter&) {}), true, {}, {}},
        {"other interface",
         Changed([](BusWriter& entries) { AddText(entries, "Operation", "x"); }, "org.freedesktop.DBus"),
         false,
         {},
         {"trace PropertiesChangedSignal: Unsupported interface name: org.freedesktop.DBus"}},
        {"no arguments", [](BusWriter&) {}, false, {}, {}},
        {"no name", [](BusWriter& writer) { writer.Int32(1); }, false, {}, {}},
        {"name alone", [](BusWriter& writer) { writer.Text(Rauc); }, false, {}, {}},
        {"no array", [](BusWriter& writer) { writer.Text(Rauc).Text("x"); }, false, {}, {}},
        {"array of texts",
         [](BusWriter& writer)
         { writer.Text(Rauc).Array("s", [](BusWriter& elements) { elements.Text("Operation"); }); },
         true,
         {},
         {}},
    });
}

TEST_F(RaucSignalsTest, CompletedTellsTheReturnCode)
{
    const auto code = [](std::int32_t value) { return [value](BusWriter& writer) { writer.Int32(value); }; };
    Expect<RaucCompletedSignal>({
        {"success", code(0), true, {"Completed 0"}, {"debug RaucCompletedSignal: returnCode=0"}},
        {"failure", code(1), true, {"Completed 1"}, {"debug RaucCompletedSignal: returnCode=1"}},
        {"negative", code(-5), true, {"Completed -5"}, {"debug RaucCompletedSignal: returnCode=-5"}},
        {"no arguments", [](BusWriter&) {}, false, {}, {}},
        {"other type", [](BusWriter& writer) { writer.Uint32(0); }, false, {}, {}},
    });
    EXPECT_TRUE(RaucCompletedSignal(0).HasCompleted());
    EXPECT_FALSE(RaucCompletedSignal(1).HasCompleted());
    EXPECT_FALSE(RaucCompletedSignal(-1).HasCompleted());
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

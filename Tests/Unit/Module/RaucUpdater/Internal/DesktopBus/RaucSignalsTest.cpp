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
using Write = BusWriter::Write;

const String Rauc = "de.pengutronix.rauc.Installer";

/// Returns what becomes of a signal that no bus has seen: the result, the events and the last line of the
/// log.
template <typename Signal>
String Notify(const Write& arguments)
{
    const Tests::Support::RecordedSignals received;
    const Tests::Support::RecordingLog log;
    const auto message = BusMessage::Signal("/", Signal::SignalInterface, Signal::SignalName).With(arguments);
    const String result = Signal::Notify(DesktopBusMessage(message.Share())) ? "true; " : "false; ";
    const auto lines = log->GetLines();
    return result + Join(received.GetLines(), ", ") + "; " + (lines.empty() ? "" : lines.back());
}

Write Text(const String& name, const String& text)
{
    return [=](BusWriter& entries) { entries.Entry(name, "s", [&](BusWriter& value) { value.Text(text); }); };
}

/// A signal that the properties of these entries have changed.
Write Changed(const std::vector<Write>& writes, const String& interfaceName = Rauc)
{
    const auto entries = [=](BusWriter& writer)
    { std::ranges::for_each(writes, [&](auto& write) { write(writer); }); };
    return [=](BusWriter& writer)
    { writer.Text(interfaceName).Array("{sv}", entries).Array("s", [](BusWriter&) {}); };
}

TEST(PropertiesChangedSignalTest, RaisesTheEventsInOrderUpToTheFirstPropertyThatIsUnknownOrUnreadable)
{
    const Write members = [](BusWriter& writer) { writer.Int32(40).Text("Copying").Int32(1); };
    const Write tuple = [=](BusWriter& value) { value.Struct(members); };
    const Write progress = [=](BusWriter& entries) { entries.Entry("Progress", "(isi)", tuple); };
    const Write failed = Text("LastError", "no space");
    const Write started = Text("Operation", "installing");
    const auto notify = &Notify<PropertiesChangedSignal>;
    EXPECT_EQ(notify(Changed({started, progress})), "true; Operation installing, Progress 40 Copying 1; "
                                                    "debug RaucOperationProperty: operation=installing");
    EXPECT_EQ(
        notify(Changed({progress, failed})),
        "true; Progress 40 Copying 1, LastError no space; debug RaucLastErrorProperty: Message=no space");
    EXPECT_EQ(notify(Changed({progress, Text("BootSlot", "A"), failed})),
              "false; Progress 40 Copying 1; debug PropertiesChangedSignal: Unsupported property: BootSlot");
    EXPECT_EQ(notify(Changed({Text("Progress", "40"), failed})),
              "false; ; error RaucProgressProperty: Failed to enter struct. Fields: "
              "[{DesktopBusField=[type=variant: "
              "s(118); value=[{DesktopBusField=[type=string(115); value=\"40\"]}]]}]");
    EXPECT_EQ(notify(Changed({started}, "a.b")),
              "false; ; trace PropertiesChangedSignal: Unsupported interface name: a.b");
    EXPECT_EQ(notify(Changed({})), "true; ; ");
    EXPECT_EQ(notify([](BusWriter&) {}), "false; ; ");
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Int32(1); }), "false; ; ");
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Text(Rauc); }), "false; ; ");
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Text(Rauc).Text("x"); }), "false; ; ");
    const Write names = [](BusWriter& elements) { elements.Text("Operation"); };
    EXPECT_EQ(notify([=](BusWriter& writer) { writer.Text(Rauc).Array("s", names); }), "true; ; ");
}

TEST(RaucCompletedSignalTest, TellsTheReturnCode)
{
    const auto notify = &Notify<RaucCompletedSignal>;
    const String line = "debug RaucCompletedSignal: returnCode=";
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Int32(0); }), "true; Completed 0; " + line + "0");
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Int32(-5).Text("x"); }),
              "true; Completed -5; " + line + "-5");
    EXPECT_EQ(notify([](BusWriter&) {}), "false; ; ");
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Uint32(0); }), "false; ; ");
    EXPECT_EQ(notify([](BusWriter& writer) { writer.Text("0"); }), "false; ; ");
    EXPECT_TRUE(RaucCompletedSignal(0).HasCompleted());
    EXPECT_FALSE(RaucCompletedSignal(1).HasCompleted() || RaucCompletedSignal(-1).HasCompleted());
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

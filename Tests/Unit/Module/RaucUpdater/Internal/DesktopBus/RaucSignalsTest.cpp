#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "Support/BusMessage.h"
#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{
namespace
{

using Tests::Support::BusMessage;
using Write = Tests::Support::BusWriter::Write;

const String Rauc = "de.pengutronix.rauc.Installer";

/// Returns what becomes of a signal that no bus has seen: the result and the log.
template <typename Signal>
String Notify(const Write& arguments)
{
    const Tests::Support::RecordingLog log;
    const auto message = BusMessage::Signal("/", Signal::SignalInterface, Signal::SignalName).With(arguments);
    const String result = Signal::Notify(DesktopBusMessage(message.Share())) ? "true; " : "false; ";
    return result + Join(log->GetLines(), "; ");
}

/// A signal that the properties of these entries have changed.
Write Changed(const Write& entries, const String& interfaceName = Rauc)
{
    return [=](auto& writer) { writer.Text(interfaceName).Array("{sv}", entries).Array("s", [](auto&) {}); };
}

TEST(PropertiesChangedSignalTest, IsReadInOrderUpToTheFirstPropertyThatIsUnknownOrUnreadable)
{
    const Write members = [](auto& writer) { writer.Int32(40).Text("Copying").Int32(1); };
    const Write tuple = [=](auto& value) { value.Struct(members); };
    const auto add = [=](auto& entries) -> auto&
    {
        return entries.Entry("Progress", "(isi)", tuple);
    };
    const auto notify = &Notify<PropertiesChangedSignal>;
    const String unreadable =
        "error RaucProgressProperty: Failed to enter struct. Fields: "
        "[{DesktopBusField=[type=variant: s(118); value=[{DesktopBusField=[type=string(115); "
        "value=\"40\"]}]]}]";
    EXPECT_EQ(notify(Changed([=](auto& entries) { add(entries).TextEntry("Operation", "installing"); })),
              "true; debug RaucOperationProperty: operation=installing");
    EXPECT_EQ(notify(Changed([](auto& w) { w.TextEntry("BootSlot", "A").TextEntry("LastError", "x"); })),
              "false; debug PropertiesChangedSignal: Unsupported property: BootSlot");
    EXPECT_EQ(
        notify(Changed([](auto& w) { w.TextEntry("LastError", "no space").TextEntry("Progress", "40"); })),
        "false; debug RaucLastErrorProperty: Message=no space; " + unreadable);
    EXPECT_EQ(notify(Changed([](auto& entries) { entries.TextEntry("Operation", "x"); }, "a.b")),
              "false; trace PropertiesChangedSignal: Unsupported interface name: a.b");
    EXPECT_EQ(notify(Changed([](auto&) {})), "true; ");
    EXPECT_EQ(notify([](auto&) {}), "false; ");
    EXPECT_EQ(notify([](auto& writer) { writer.Int32(1); }), "false; ");
    EXPECT_EQ(notify([](auto& writer) { writer.Text(Rauc).Text("x"); }), "false; ");
    const Write names = [](auto& elements) { elements.Text("Operation"); };
    EXPECT_EQ(notify([=](auto& writer) { writer.Text(Rauc).Array("s", names); }), "true; ");
}

TEST(RaucCompletedSignalTest, TellsTheReturnCode)
{
    const auto notify = &Notify<RaucCompletedSignal>;
    EXPECT_EQ(notify([](auto& writer) { writer.Int32(-5).Text("x"); }),
              "true; debug RaucCompletedSignal: returnCode=-5");
    EXPECT_EQ(notify([](auto&) {}), "false; ");
    EXPECT_EQ(notify([](auto& writer) { writer.Uint32(0); }), "false; ");
    EXPECT_TRUE(RaucCompletedSignal(0).HasCompleted());
    EXPECT_FALSE(RaucCompletedSignal(1).HasCompleted() || RaucCompletedSignal(-1).HasCompleted());
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

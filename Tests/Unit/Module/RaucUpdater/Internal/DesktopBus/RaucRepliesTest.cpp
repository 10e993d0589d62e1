#include "FieldBuilders.h"
#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompletedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetPrimaryMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetSlotStatusMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInfoMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallBundleMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucMarkMethod.h"
#include "Support/RecordingLog.h"
#include "Zel/System/Commons/Delegate.h"
#include "Zel/TypeName.h"

#include <dbus/dbus.h>
#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using Tests::Support::RecordingLog;

/// What RAUC answers, of the expected shape and of others.
struct RaucRepliesTest : testing::Test, FieldBuilders
{
    /// Reads a reply; returns whether it was, and the log without the class, where "#" stands for the fields.
    template <typename Method>
    static String Read(Method&& method, const Fields& fields)
    {
        const String name = TypeName<std::remove_cvref_t<Method>>();
        const String logger = name.substr(name.rfind(':') + 1);
        const String text = "Fields: " + F::ToString(fields);
        const RecordingLog log;
        String result = method.ReadFields(fields) ? "read" : "refused";
        for (auto line : log.GetLinesOf(logger))
        {
            line.erase(line.find(" " + logger + ":"), logger.size() + 2);
            result += "; " + (line.ends_with(text) ? line.replace(line.size() - text.size(), text.size(), "#")
                                                   : line);
        }
        return result;
    }

    static String ReadSlots(const Fields& slots)
    {
        return Read(RaucGetSlotStatusMethod(), {Array(slots, "(sa{sv})")});
    }
};

TEST_F(RaucRepliesTest, CallsReadTheirReply)
{
    const auto info = [](const Fields& fields) { return Read(RaucInfoMethod("/bundle"), fields); };
    const String trace = "; trace Read rauc info arguments.; ";
    EXPECT_EQ(info({Text("C"), Text("1"), Number(1)}), "read" + trace + "debug Version=1; Compatible=C");
    EXPECT_EQ(info({}), "refused" + trace + "error Failed to get fields. #");
    EXPECT_EQ(info({Number(1), Text("1")}), "refused" + trace + "error Failed to get arg:compatible. #");
    EXPECT_EQ(info({Text("C"), Number(1)}), "refused" + trace + "error Failed to get arg:version. #");

    const auto mark = [](const Fields& fields) { return Read(RaucMarkMethod("active", "a.1"), fields); };
    const String read = "; trace Read rauc Mark arguments.; ";
    EXPECT_EQ(mark({Text("a.1"), Text("done")}), "read" + read + "debug slotName=a.1; debug message=done");
    EXPECT_EQ(mark({}), "refused" + read + "error Failed to get fields. #");
    EXPECT_EQ(mark({Number(1), Text("x")}), "refused" + read + "error Failed to get arg:slotName. #");
    EXPECT_EQ(mark({Text("a")}), "refused" + read + "debug slotName=a; error Failed to get arg:message. #");

    const auto primary = [](const Fields& fields) { return Read(RaucGetPrimaryMethod(), fields); };
    EXPECT_EQ(primary({Text("a")}), "read; trace Read rauc GetPrimary arguments.; debug primary=a");
    EXPECT_EQ(primary({}), "refused; error There are not any fields. #");
    EXPECT_EQ(primary({Number(1)}),
              "refused; trace Read rauc GetPrimary arguments.; error Failed to get GetPrimary. #");
    EXPECT_EQ(Read(RaucInstallBundleMethod("/b", true), {}) + Read(RaucInstallMethod("/b"), {}), "readread");
}

TEST_F(RaucRepliesTest, PropertiesReadTheirVariant)
{
    const auto refuses = [](auto property, const String& unread)
    {
        EXPECT_EQ(Read(property, {}), "refused; error Failed to enter variant. #");
        EXPECT_EQ(Read(property, {Text("x")}), "refused; error Failed to enter variant. #");
        EXPECT_EQ(Read(property, {Variant(Number(1), "i")}), "refused; error Failed to " + unread + ". #");
    };
    refuses(RaucOperationProperty(), "get operation");
    refuses(RaucLastErrorProperty(), "get error message");
    refuses(RaucCompatibleProperty(), "get compatible");
    refuses(RaucProgressProperty(), "enter struct");
    EXPECT_EQ(Read(RaucCompatibleProperty(), {Variant(Text("x"), "s")}), "read; debug Compatible=x");
    for (const String text : {"idle", "installing", "Idle", "idle ", ""})
    {
        RaucOperationProperty operation;
        EXPECT_EQ(Read(operation, {Variant(Text(text), "s")}), "read; debug operation=" + text);
        EXPECT_EQ(operation.IsIdle(), text == "idle");
        EXPECT_EQ(operation.IsInstalling(), text == "installing");
    }

    const auto progress = [](const Fields& members)
    { return Read(RaucProgressProperty(), {Variant(Struct(members), "(isi)")}); };
    EXPECT_EQ(progress({Number(40), Text("Copying"), Number(1)}), "read");
    EXPECT_EQ(progress({}), "refused; error Failed to enter struct. #");
    EXPECT_EQ(progress({Text("40")}), "refused; error Failed to get percentage. #");
    EXPECT_EQ(progress({Number(40)}), "refused; error Failed to get message. #");
    EXPECT_EQ(progress({Number(40), Text("x")}), "refused; error Failed to get nestingDepth. #");
}

TEST_F(RaucRepliesTest, SlotsAreReadUpToTheFirstUnreadableOneAndTheFirstOfANameCounts)
{
    const auto slot = [](const String& name, const String& state) {
        return Struct({Text(name), Array({Entry("state", Text(state), "s")}, "{sv}")});
    };
    EXPECT_EQ(ReadSlots({}), "read");
    EXPECT_EQ(Read(RaucGetSlotStatusMethod(), {Text("x")}), "refused; error Failed to enter array. #");
    for (const F& unreadable : {Text("x"), Struct({})})
    {
        EXPECT_EQ(ReadSlots({unreadable}), "refused; error Failed to enter struct. #");
    }
    EXPECT_EQ(ReadSlots({Struct({Number(1), Array({}, "{sv}")})}), "refused");
    EXPECT_EQ(ReadSlots({Struct({Text("b")})}), "refused; debug slotName=b");
    RaucGetSlotStatusMethod method;
    const Fields slots = {slot("b", "first"), slot("b", "again"), Struct({Text("q"), Text("x")}),
                          slot("r", "x")};
    EXPECT_EQ(Read(method, {Array(slots, "(sa{sv})")}).substr(0, 7), "refused");
    EXPECT_EQ(method.GetSlotStatus().size(), 1U);
    EXPECT_EQ(method.GetSlotStatus().at("b").GetState(), "first");
}

TEST_F(RaucRepliesTest, EveryKeyOfASlotFillsItsOwnMemberAndWhatIsUnreadableBetweenIsSkipped)
{
    using Status = RaucSlotStatus;
    const std::vector<std::pair<String, const String& (Status::*)() const noexcept>> texts = {
        {"sha256", &Status::GetSha256},
        {"bundle.build", &Status::GetBundleBuild},
        {"bundle.compatible", &Status::GetBundleCompatible},
        {"bundle.version", &Status::GetBundleVersion},
        {"type", &Status::GetType},
        {"bootname", &Status::GetBootname},
        {"class", &Status::GetClass},
        {"bundle.description", &Status::GetBundleDescription},
        {"boot-status", &Status::GetBootStatus},
        {"mountpoint", &Status::GetMountpoint},
        {"state", &Status::GetState},
        {"status", &Status::GetStatus},
        {"device", &Status::GetDevice}};
    const auto text = [](const String& key, const String& value) { return Entry(key, Text(value), "s"); };
    const auto count = [](const String& key, std::uint32_t number)
    { return Entry(key, Make<&F::SetUint32>(number), "u"); };
    Fields entries = {Entry("size", Make<&F::SetUint64>(5'000'000'000U), "t"),
                      count("installed.count", 3),
                      count("activated.count", 2),
                      text("installed.timestamp", "2023-05-01T10:00:00Z"),
                      text("activated.timestamp", "2023-05-02T11:00:00"),
                      text("foo", "x"),
                      text("installed.timestamp", "soonZ"),
                      count("sha256", 1),
                      Text("no entry"),
                      Entry({Text("status")}),
                      Entry({Text("status"), Text("no variant")}),
                      Entry({Number(1), Variant(Text("x"), "s")})};
    std::ranges::for_each(texts, [&](auto& row) { entries.push_back(text(row.first, "my " + row.first)); });
    const RecordingLog log;
    RaucSlotStatus status;
    ASSERT_TRUE(status.ReadFields(Fields{Array(entries, "{sv}")}));
    for (const auto& [key, accessor] : texts)
    {
        EXPECT_EQ((status.*accessor)(), "my " + key);
    }
    EXPECT_EQ(status.GetSize(), 5'000'000'000U);
    EXPECT_EQ(status.GetInstalledCount() * 10 + status.GetActivatedCount(), 32U);
    EXPECT_EQ(status.GetInstallDateTime(), DateTime::FromIso8601String("2023-05-01T10:00:00"));
    EXPECT_EQ(status.GetActivatedDateTime(), DateTime::FromIso8601String("2023-05-02T11:00:00"));
    const String lines = Join(log.GetLinesOf("RaucSlotStatus"), "; ");
    EXPECT_TRUE(
        lines.starts_with("debug RaucSlotStatus: Not supported; error RaucSlotStatus: Failed to parse "
                          "timestamp=soon. Zel::Exception: "));
    EXPECT_EQ(Read(RaucSlotStatus(), {Text("x")}), "refused; error Failed to enter array. #");
}

struct RaucSignalsTest : testing::Test, FieldBuilders
{
    template <typename Signal>
    static DesktopBusMessage Make(const Fields& fields = {})
    {
        DesktopBusMessage message(
            dbus_message_new_signal("/", Signal::SignalInterface.c_str(), Signal::SignalName.c_str()));
        EXPECT_TRUE(message.WriteFields(fields));
        return message;
    }

    /// Returns what becomes of a signal: the result and the log.
    template <typename Signal>
    static String Notify(const DesktopBusMessage& message)
    {
        const RecordingLog log;
        const String result = Signal::Notify(message) ? "true; " : "false; ";
        return result + Join(log.GetLines(), "; ");
    }

    static String Changed(const Fields& fields)
    {
        return Notify<PropertiesChangedSignal>(Make<PropertiesChangedSignal>(fields));
    }

    /// Changed texts.
    static String Changed(const std::vector<std::pair<String, String>>& texts, const String& sender = Rauc)
    {
        Fields entries;
        std::ranges::for_each(texts, [&](auto& pair)
                              { entries.push_back(Entry(pair.first, Text(pair.second), "s")); });
        return Changed({Text(sender), Array(entries, "{sv}")});
    }

    static String Completed(int type, std::int32_t code)
    {
        const auto message = Make<RaucCompletedSignal>();
        EXPECT_TRUE(dbus_message_append_args(message.Get(), type, &code, DBUS_TYPE_INVALID));
        return Notify<RaucCompletedSignal>(message);
    }

    void Handle(const RaucOperationProperty& operation) { isIdle = operation.IsIdle(); }

    inline static const String Rauc = "de.pengutronix.rauc.Installer";
    bool isIdle = false;
};

TEST_F(RaucSignalsTest, AreReadInOrderUpToTheFirstPropertyThatIsUnknownOrUnreadable)
{
    const auto handler =
        System::Commons::Delegate<const RaucOperationProperty&>::Bind<&RaucSignalsTest::Handle>(this);
    PropertiesChangedSignal::OnOperationChanged.Add(handler);
    EXPECT_EQ(Changed({{"LastError", "x"}, {"Operation", "idle"}}),
              "true; debug RaucLastErrorProperty: Message=x; debug RaucOperationProperty: operation=idle");
    PropertiesChangedSignal::OnOperationChanged.Remove(handler);
    EXPECT_TRUE(isIdle);
    EXPECT_EQ(Changed({{"BootSlot", "A"}, {"LastError", "x"}}),
              "false; debug PropertiesChangedSignal: Unsupported property: BootSlot");
    EXPECT_EQ(Changed({{"Progress", "40"}, {"LastError", "x"}}),
              "false; error RaucProgressProperty: Failed to enter struct. Fields: "
              "[{DesktopBusField=[type=variant: s(118); value=[{DesktopBusField=[type=string(115); "
              "value=\"40\"]}]]}]");
    EXPECT_EQ(Changed({{"Operation", "x"}}, "a.b"),
              "false; trace PropertiesChangedSignal: Unsupported interface name: a.b");
    const auto unnamed = Entry({Boolean(true), Text("x")});
    for (const F& skipped : {Array({}, "{sv}"), Array({Text("x")}, "s"), Array({unnamed}, "{bs}")})
    {
        EXPECT_EQ(Changed({Text(Rauc), skipped}), "true; ");
    }
    EXPECT_EQ(Changed({Boolean(true)}) + Changed({Text(Rauc), Text("x")}), "false; false; ");
    EXPECT_EQ(Completed(DBUS_TYPE_INT32, -5), "true; debug RaucCompletedSignal: returnCode=-5");
    EXPECT_EQ(Completed(DBUS_TYPE_UINT32, 0), "false; ");
    EXPECT_FALSE(RaucCompletedSignal(1).HasCompleted() || RaucCompletedSignal(-1).HasCompleted());
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

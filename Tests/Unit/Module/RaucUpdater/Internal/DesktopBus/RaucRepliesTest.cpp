#include "FieldBuilders.h"
#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetPrimaryMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetSlotStatusMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInfoMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallBundleMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucMarkMethod.h"
#include "Support/RecordingLogSink.h"
#include "Zel/TypeName.h"

#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{
namespace
{

using Tests::Support::RecordingLog;
using Lines = std::vector<String>;

/// What RAUC answers, of the expected shape and of others.
class RaucRepliesTest : public testing::Test, protected FieldBuilders
{
protected:
    /// Reads a reply; returns whether it was, and the log without the class, and its errors without the
    /// fields.
    template <typename Method>
    static String Read(Method&& method, const Fields& fields)
    {
        const String name = TypeName<std::remove_cvref_t<Method>>();
        const String logger = " " + name.substr(name.rfind(':') + 1) + ":";
        const String text = ". Fields: " + F::ToString(fields);
        const RecordingLog log;
        String result = method.ReadFields(fields) ? "read" : "refused";
        for (auto line : log->GetLinesOf(logger.substr(1, logger.size() - 2)))
        {
            line.erase(line.find(logger), logger.size());
            const bool isError = line.starts_with("error");
            EXPECT_EQ(line.ends_with(text), isError) << line;
            result += "; " + line.substr(0, line.size() - (isError ? text.size() : 0));
        }
        return result;
    }

    static F Slot(const String& name, const Fields& entries)
    {
        return Struct({Text(name), Array(entries, "{sv}")});
    }

    static F Entry(const String& key, const String& text)
    {
        return FieldBuilders::Entry(key, Text(text), "s");
    }

    static Fields Slots(const Fields& slots) { return {Array(slots, "(sa{sv})")}; }
};

TEST_F(RaucRepliesTest, CallsReadTheirReply)
{
    const auto info = [](const Fields& fields) { return Read(RaucInfoMethod("/bundle"), fields); };
    const String trace = "; trace Read rauc info arguments.; ";
    EXPECT_EQ(info({Text("C"), Text("1"), Number(1)}), "read" + trace + "debug Version=1; Compatible=C");
    EXPECT_EQ(info({}), "refused" + trace + "error Failed to get fields");
    EXPECT_EQ(info({Number(1), Text("1")}), "refused" + trace + "error Failed to get arg:compatible");
    EXPECT_EQ(info({Text("C")}), "refused" + trace + "error Failed to get arg:version");
    EXPECT_EQ(info({Text("C"), Variant(Text("1"), "s")}),
              "refused" + trace + "error Failed to get arg:version");

    const auto mark = [](const Fields& fields) { return Read(RaucMarkMethod("active", "a.1"), fields); };
    const String read = "; trace Read rauc Mark arguments.; ";
    EXPECT_EQ(mark({Text("a.1"), Text("done")}), "read" + read + "debug slotName=a.1; debug message=done");
    EXPECT_EQ(mark({}), "refused" + read + "error Failed to get fields");
    EXPECT_EQ(mark({Number(1), Text("x")}), "refused" + read + "error Failed to get arg:slotName");
    EXPECT_EQ(mark({Text("a")}), "refused" + read + "debug slotName=a; error Failed to get arg:message");

    const auto primary = [](const Fields& fields) { return Read(RaucGetPrimaryMethod(), fields); };
    const String readPrimary = "; trace Read rauc GetPrimary arguments.; ";
    EXPECT_EQ(primary({Text("a.1")}), "read" + readPrimary + "debug primary=a.1");
    EXPECT_EQ(primary({}), "refused; error There are not any fields");
    EXPECT_EQ(primary({Number(1)}), "refused" + readPrimary + "error Failed to get GetPrimary");
    EXPECT_EQ(Read(RaucInstallBundleMethod("/b", true), {}) + Read(RaucInstallMethod("/b"), {}), "readread");
}

TEST_F(RaucRepliesTest, PropertiesReadTheirVariant)
{
    for (const auto& fields : {Fields(), Fields{Text("x")}})
    {
        EXPECT_EQ(Read(RaucOperationProperty(), fields), "refused; error Failed to enter variant");
        EXPECT_EQ(Read(RaucLastErrorProperty(), fields), "refused; error Failed to enter variant");
        EXPECT_EQ(Read(RaucCompatibleProperty(), fields), "refused; error Failed to enter variant");
        EXPECT_EQ(Read(RaucProgressProperty(), fields), "refused; error Failed to enter variant");
    }
    const Fields number = {Variant(Number(1), "i")};
    EXPECT_EQ(Read(RaucOperationProperty(), number), "refused; error Failed to get operation");
    EXPECT_EQ(Read(RaucLastErrorProperty(), number), "refused; error Failed to get error message");
    EXPECT_EQ(Read(RaucCompatibleProperty(), number), "refused; error Failed to get compatible");
    EXPECT_EQ(Read(RaucProgressProperty(), number), "refused; error Failed to enter struct");
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
    EXPECT_EQ(progress({}), "refused; error Failed to enter struct");
    EXPECT_EQ(progress({Text("40")}), "refused; error Failed to get percentage");
    EXPECT_EQ(progress({Number(40)}), "refused; error Failed to get message");
    EXPECT_EQ(progress({Number(40), Text("x")}), "refused; error Failed to get nestingDepth");
}

TEST_F(RaucRepliesTest, SlotsAreReadUpToTheFirstUnreadableOneAndTheFirstOfANameCounts)
{
    const auto read = [](const Fields& fields) { return Read(RaucGetSlotStatusMethod(), fields); };
    EXPECT_EQ(read(Slots({})), "read");
    EXPECT_EQ(read({}), "refused; error Failed to enter array");
    EXPECT_EQ(read({Text("x")}), "refused; error Failed to enter array");
    EXPECT_EQ(read(Slots({Slot("a", {}), Text("x")})),
              "refused; debug slotName=a; error Failed to enter struct");
    EXPECT_EQ(read(Slots({Struct({})})), "refused; error Failed to enter struct");
    EXPECT_EQ(read(Slots({Struct({Number(1), Array({}, "{sv}")})})), "refused");
    EXPECT_EQ(read(Slots({Struct({Text("b")})})), "refused; debug slotName=b");
    Fields slots;
    for (char letter = 'p'; letter >= 'a'; --letter)
    {
        slots.push_back(Slot(String(1, letter), {Entry("state", String("state ") + letter)}));
    }
    slots.push_back(Slot("b", {Entry("state", "again")}));
    slots.push_back(Struct({Text("q"), Text("x")}));
    slots.push_back(Slot("r", {}));
    RaucGetSlotStatusMethod method;
    EXPECT_TRUE(Read(method, Slots(slots)).starts_with("refused"));
    String names;
    for (const auto& [name, status] : method.GetSlotStatus())
    {
        names += name;
        EXPECT_EQ(status.GetState(), "state " + name);
    }
    EXPECT_EQ(names, "abcdefghijklmnop");
    EXPECT_EQ(Read(RaucSlotStatus(), {Text("x")}), "refused; error Failed to enter array");
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
    const auto count = [](const String& key, std::uint32_t number)
    { return FieldBuilders::Entry(key, Make<&F::SetUint32>(number), "u"); };
    Fields entries;
    const auto add = [&](const auto&... fields) { (entries.push_back(fields), ...); };
    add(FieldBuilders::Entry("size", Make<&F::SetUint64>(5'000'000'000U), "t"), count("installed.count", 3),
        count("activated.count", 2), Entry("installed.timestamp", "2023-05-01T10:00:00Z"),
        Entry("activated.timestamp", "2023-05-02T11:00:00"));
    add(Entry("foo", "x"), Entry("State", "x"), Entry("installed.timestamp", "soonZ"), Entry("size", "1"),
        count("size", 1), count("sha256", 1), count("installed.timestamp", 1), Text("no entry"),
        FieldBuilders::Entry({Text("status")}), FieldBuilders::Entry({Text("status"), Text("no variant")}),
        FieldBuilders::Entry({Number(1), Variant(Text("x"), "s")}));
    std::ranges::for_each(texts, [&](auto& text) { add(Entry(text.first, "value of " + text.first)); });
    const RecordingLog log;
    RaucSlotStatus status;
    ASSERT_TRUE(status.ReadFields(Fields{Array(entries, "{sv}")}));
    for (const auto& [key, accessor] : texts)
    {
        EXPECT_EQ((status.*accessor)(), "value of " + key);
    }
    EXPECT_EQ(status.GetSize(), 5'000'000'000U);
    EXPECT_EQ(status.GetInstalledCount() * 10 + status.GetActivatedCount(), 32U);
    EXPECT_EQ(status.GetInstallDateTime(), DateTime::FromIso8601String("2023-05-01T10:00:00"));
    EXPECT_EQ(status.GetActivatedDateTime(), DateTime::FromIso8601String("2023-05-02T11:00:00"));
    const String lines = Join(log->GetLinesOf("RaucSlotStatus"), "; ");
    const String skipped = "debug RaucSlotStatus: Not supported; ";
    EXPECT_TRUE(lines.starts_with(skipped + skipped +
                                  "error RaucSlotStatus: Failed to parse timestamp=soon. Zel::Exception: "));
    EXPECT_EQ(Read(RaucSlotStatus(), {Array({}, "{sv}")}), "read");
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

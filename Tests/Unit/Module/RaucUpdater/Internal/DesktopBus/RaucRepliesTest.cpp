#include "FieldBuilders.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetPrimaryMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetSlotStatusMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInfoMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallBundleMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucInstallMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucLastErrorProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucMarkMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucOperationProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucProgressProperty.h"
#include "Support/RecordingLogSink.h"
#include "Zel/System/Core/Format.h"

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
    struct Case
    {
        Fields fields;
        bool isRead;
        /// "{fields}" stands for the fields.
        Lines lines;
    };

    /// Reads each case into a new `Method`.
    template <typename Method, typename... Arguments>
    static void Expect(const std::vector<Case>& cases, const Arguments&... arguments)
    {
        for (const auto& expected : cases)
        {
            const RecordingLog log;
            Method method(arguments...);
            EXPECT_EQ(method.ReadFields(expected.fields), expected.isRead);
            Lines lines = expected.lines;
            const String fieldsText = DesktopBusField::ToString(expected.fields);
            for (auto& line : lines)
            {
                if (const auto position = line.find("{fields}"); position != String::npos)
                {
                    line.replace(position, 8, fieldsText);
                }
            }
            EXPECT_EQ(log->GetLines(), lines) << fieldsText;
        }
    }

    static Fields Property(const DesktopBusField& content, const String& signature)
    {
        return {Variant(content, signature)};
    }
};

TEST_F(RaucRepliesTest, Info)
{
    const String trace = "trace RaucInfoMethod: Read rauc info arguments.";
    const auto error = [](const String& what)
    { return "error RaucInfoMethod: Failed to get " + what + ". Fields: {fields}"; };
    Expect<RaucInfoMethod>(
        {{{Text("Controller"), Text("1.2.3.4")},
          true,
          {trace, "debug RaucInfoMethod: Version=1.2.3.4; Compatible=Controller"}},
         {{Text("Controller"), Text("1"), Number(1)},
          true,
          {trace, "debug RaucInfoMethod: Version=1; Compatible=Controller"}},
         {{}, false, {trace, error("fields")}},
         {{Number(1), Text("1")}, false, {trace, error("arg:compatible")}},
         {{Text("Controller")}, false, {trace, error("arg:version")}},
         {{Text("Controller"), Variant(Text("1"), "s")}, false, {trace, error("arg:version")}}},
        String("/bundle"));

    RaucInfoMethod info("/bundle");
    EXPECT_FALSE(info.ReadFields({Text("Controller")}));
    EXPECT_EQ(info.GetCompatible(), "Controller");
    EXPECT_EQ(info.GetVersion(), "");
    EXPECT_EQ(info.GetBundle(), "/bundle");
}

TEST_F(RaucRepliesTest, Mark)
{
    const String trace = "trace RaucMarkMethod: Read rauc Mark arguments.";
    const String slot = "debug RaucMarkMethod: slotName=rootfs.1";
    const auto error = [](const String& what)
    { return "error RaucMarkMethod: Failed to get " + what + ". Fields: {fields}"; };
    Expect<RaucMarkMethod>(
        {{{Text("rootfs.1"), Text("done")}, true, {trace, slot, "debug RaucMarkMethod: message=done"}},
         {{}, false, {trace, error("fields")}},
         {{Number(1), Text("done")}, false, {trace, error("arg:slotName")}},
         {{Text("rootfs.1")}, false, {trace, slot, error("arg:message")}}},
        String("active"), String("rootfs.1"));
}

TEST_F(RaucRepliesTest, GetPrimary)
{
    const String trace = "trace RaucGetPrimaryMethod: Read rauc GetPrimary arguments.";
    Expect<RaucGetPrimaryMethod>(
        {{{Text("rootfs.1")}, true, {trace, "debug RaucGetPrimaryMethod: primary=rootfs.1"}},
         {{}, false, {"error RaucGetPrimaryMethod: There are not any fields. Fields: {fields}"}},
         {{Number(1)},
          false,
          {trace, "error RaucGetPrimaryMethod: Failed to get GetPrimary. Fields: {fields}"}}});
}

TEST_F(RaucRepliesTest, InstallIsNotLookedAt)
{
    Expect<RaucInstallBundleMethod>({{{}, true, {}}, {{Number(1)}, true, {}}}, String("/bundle"), false);
    Expect<RaucInstallMethod>({{{}, true, {}}, {{Number(1)}, true, {}}}, String("/bundle"));
}

TEST_F(RaucRepliesTest, GetSlotStatus)
{
    const auto slot = [](const String& name, const String& state) {
        return Struct({Text(name), Array({Entry("state", Text(state), "s")}, "{sv}")});
    };
    const auto slots = [](const Fields& elements) { return Fields{Array(elements, "(sa{sv})")}; };
    const auto name = [](const String& text) { return "debug RaucGetSlotStatusMethod: slotName=" + text; };
    const String noArray = "error RaucGetSlotStatusMethod: Failed to enter array. Fields: {fields}";
    const String noStruct = "error RaucGetSlotStatusMethod: Failed to enter struct. Fields: {fields}";
    const auto noName = Struct({Number(1), Array({}, "{sv}")});
    const auto noStatus = Struct({Text("b")});
    const auto badStatus = Struct({Text("b"), Text("x")});
    Expect<RaucGetSlotStatusMethod>(
        {{slots({slot("b", "booted"), slot("a", "inactive")}), true, {name("b"), name("a")}},
         {slots({}), true, {}},
         {{}, false, {noArray}},
         {{Text("x")}, false, {noArray}},
         {slots({slot("a", "x"), Text("x")}), false, {name("a"), noStruct}},
         {slots({Struct({})}), false, {noStruct}},
         {slots({noName}), false, {}},
         {slots({noStatus}), false, {name("b")}},
         {slots({badStatus}),
          false,
          {name("b"), "error RaucSlotStatus: Failed to enter array. Fields: "
                      "[{DesktopBusField=[type=string(115); value=\"x\"]}]"}}});

    RaucGetSlotStatusMethod method;
    EXPECT_FALSE(
        method.ReadFields(slots({slot("b", "first"), slot("a", "x"), slot("b", "second"), noStatus})));
    const auto& status = method.GetSlotStatus();
    ASSERT_EQ(status.size(), 2U);
    EXPECT_EQ(status.begin()->first, "a");
    EXPECT_EQ(status.at("b").GetState(), "first");
}

TEST_F(RaucRepliesTest, PropertiesOfTypeString)
{
    const auto variantError = [](const String& property)
    { return "error " + property + ": Failed to enter variant. Fields: {fields}"; };
    const auto cases = [&](const String& property, const String& success, const String& failure)
    {
        return std::vector<Case>{
            {Property(Text("x"), "s"), true, {"debug " + property + ": " + success}},
            {Property(Number(1), "i"),
             false,
             {"error " + property + ": Failed to get " + failure + ". Fields: {fields}"}},
            {{Text("x")}, false, {variantError(property)}},
            {{}, false, {variantError(property)}}};
    };
    Expect<RaucOperationProperty>(cases("RaucOperationProperty", "operation=x", "operation"));
    Expect<RaucLastErrorProperty>(cases("RaucLastErrorProperty", "Message=x", "error message"));
    Expect<RaucCompatibleProperty>(cases("RaucCompatibleProperty", "Compatible=x", "compatible"));
}

TEST_F(RaucRepliesTest, OperationsAreComparedExactly)
{
    const std::vector<std::tuple<String, bool, bool>> cases = {{"idle", true, false},
                                                               {"installing", false, true},
                                                               {"Idle", false, false},
                                                               {"idle ", false, false},
                                                               {"", false, false}};
    for (const auto& [text, isIdle, isInstalling] : cases)
    {
        RaucOperationProperty operation;
        EXPECT_FALSE(operation.IsIdle());
        ASSERT_TRUE(operation.ReadFields(Property(Text(text), "s")));
        EXPECT_EQ(operation.IsIdle(), isIdle) << text;
        EXPECT_EQ(operation.IsInstalling(), isInstalling) << text;
    }
}

TEST_F(RaucRepliesTest, Progress)
{
    const auto progress = [](const Fields& members) { return Property(Struct(members), "(isi)"); };
    const auto error = [](const String& what)
    { return "error RaucProgressProperty: Failed to " + what + ". Fields: {fields}"; };
    Expect<RaucProgressProperty>(
        {{progress({Number(40), Text("Copying"), Number(1)}), true, {}},
         {{}, false, {error("enter variant")}},
         {Property(Text("x"), "s"), false, {error("enter struct")}},
         {progress({}), false, {error("enter struct")}},
         {progress({Text("40")}), false, {error("get percentage")}},
         {progress({Number(40)}), false, {error("get message")}},
         {progress({Number(40), Number(1)}), false, {error("get message")}},
         {progress({Number(40), Text("Copying")}), false, {error("get nestingDepth")}}});
    RaucProgressProperty property;
    ASSERT_TRUE(property.ReadFields(progress({Number(40), Text("Copying"), Number(2)})));
    EXPECT_EQ(property.GetPercentage(), 40);
    EXPECT_EQ(property.GetMessage(), "Copying");
    EXPECT_EQ(property.GetNestingDepth(), 2);
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include "FieldBuilders.h"
#include "Support/BusMessage.h"
#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>

#include <array>
#include <ranges>
#include <tuple>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{
namespace
{

using System::Commons::Diagnostics::Logging::LogLevel;
using Tests::Support::BusMessage;
using Tests::Support::BusWriter;
using Lines = std::vector<String>;

class DesktopBusMessageTest : public testing::Test, protected FieldBuilders
{
protected:
    /// What is read from a message with these arguments.
    static Fields Read(const BusWriter::Write& arguments)
    {
        return DesktopBusMessage(BusMessage::LooseReturn().With(arguments).Share()).ReadFields();
    }

    static BusWriter::Write Repeat(int count, const BusWriter::Write& write)
    {
        return [=](BusWriter& writer)
        { std::ranges::for_each(std::views::iota(0, count), [&](int) { write(writer); }); };
    }

    static DesktopBusMessage Request() { return DesktopBusMessage("a.b", "/", "a.b", "C"); }

    /// Which of the readers take a field: one character each.
    template <typename... Content>
    static String Ask(const F& field, bool (F::*... readers)(Content&) const)
    {
        std::tuple<Content...> contents;
        return std::apply([&](Content&... content)
                          { return String{((field.*readers)(content) ? 'x' : '-')...}; },
                          contents);
    }

    /// Writes a call with these arguments and returns its signature, arguments and warnings.
    String Write(const Fields& fields)
    {
        log->Clear();
        auto message = Request();
        const bool isWritten = message.WriteFields(fields);
        const BusMessage written(dbus_message_ref(message.Get()));
        String text =
            isWritten ? written.GetSignature() + ": " + Join(written.GetArguments(), ", ") : "refused";
        for (const auto& line : log->GetLinesOf("DesktopBusMessage", LogLevel::Warning))
        {
            text += "; " + line.substr(line.find(": ") + 2);
        }
        return text;
    }

    const Tests::Support::RecordingLog log;
};

TEST_F(DesktopBusMessageTest, EveryTypeIsReadAndPrintedAndTakenByItsOwnReaderOnly)
{
    auto fields = Read(
        [](BusWriter& writer)
        {
            writer.Byte(65).Boolean(true).Int16(-32768).Uint16(65535).Int32(-2147483647 - 1);
            writer.Uint32(4294967295U).Int64(-5'000'000'000).Uint64(~0ULL).Double(1234567.0);
            writer.Text("a \"{0}\" b").ObjectPath("/").Signature("a{sv}");
            const auto number = [](BusWriter& inner) { inner.Uint32(7); };
            writer.Array("{sv}", [&](BusWriter& entries) { entries.Entry("k", "u", number); });
            writer.Struct([](BusWriter& members) { members.Text("m").Boolean(false); });
            writer.Variant("v", [&](BusWriter& outer) { outer.Variant("u", number); });
            writer.Array("a{sv}", [](BusWriter&) {});
        });
    String text = F::ToString(fields);
    const String prefix = "DesktopBusField=[type=";
    for (auto at = text.find(prefix); at != String::npos; at = text.find(prefix))
    {
        text.erase(at, prefix.size());
    }
    EXPECT_EQ(text,
              "[{byte(121); value=A]}{bool(98); value=true]}{int16(110); value=-32768]}"
              "{uint16(113); value=65535]}{int32(105); value=-2147483648]}"
              "{uint32(117); value=4294967295]}{int64(120); value=-5000000000]}"
              "{uint64(116); value=18446744073709551615]}{double(100); value=1.23457e+06]}"
              "{string(115); value=\"a \"{0}\" b\"]}{objectpath(111); value=\"/\"]}"
              "{signature(103); value=\"a{sv}\"]}{array: {sv}(97); value=[{dict(101); "
              "value=[{string(115); value=\"k\"]}{variant: u(118); value=[{uint32(117); value=7]}]]}]]}]]}"
              "{struct(114); value=[{string(115); value=\"m\"]}{bool(98); value=false]}]]}"
              "{variant: v(118); value=[{variant: u(118); value=[{uint32(117); value=7]}]]}]]}"
              "{array: a{sv}(97); value=[]]}]");
    fields.back() = fields.at(12).GetArray().at(0);
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        String own(16, '-');
        own[i] = 'x';
        EXPECT_EQ(Ask(fields[i], &F::TryGetByte, &F::TryGetBoolean, &F::TryGetInt16, &F::TryGetUint16,
                      &F::TryGetInt32, &F::TryGetUint32, &F::TryGetInt64, &F::TryGetUint64, &F::TryGetDouble,
                      &F::TryGetString, &F::TryGetObjectPath, &F::TryGetSignature, &F::TryGetArray,
                      &F::TryGetStruct, &F::TryGetVariant, &F::TryGetDictEntry),
                  own);
    }
    const F& other = fields[5];
    std::int32_t number = 42;
    Fields elements = {Text("before")};
    F content = Text("before");
    EXPECT_FALSE(other.TryGetInt32(number) || other.TryGetStruct(elements) || other.TryGetVariant(content));
    EXPECT_EQ(std::to_string(number) + elements.at(0).GetString() + content.GetString(), "42beforebefore");
    EXPECT_EQ(other.GetString() + other.GetObjectPath() + other.GetSignature(), "");
    EXPECT_EQ(other.GetByte() + other.GetInt32() + other.GetInt64() + (other.GetBoolean() ? 1 : 0), 0);
    EXPECT_TRUE(other.GetArray().empty() && other.GetContents().empty() && other.PeekString() == nullptr);
    EXPECT_EQ(other.GetVariant().GetType(), F::NoType);
}

TEST_F(DesktopBusMessageTest, AMessageIsReadUpTo1024FieldsOfAllDepths)
{
    const auto bytes = Repeat(100'000, [](BusWriter& writer) { writer.Byte(0); });
    const auto large = Read([&](BusWriter& writer) { writer.Array("y", bytes).Text("dropped"); });
    ASSERT_EQ(large.size(), 1U);
    EXPECT_EQ(large[0].GetArray().size(), 1023U);

    // Empty arrays count once: nothing in them is read.
    const auto empty = Repeat(1022, [](BusWriter& writer) { writer.Array("s", [](BusWriter&) {}); });
    const auto arrays =
        Read([&](BusWriter& writer) { writer.Array("as", empty).Text("last").Text("dropped"); });
    ASSERT_EQ(arrays.size(), 2U);
    EXPECT_EQ(arrays[0].GetArray().size(), 1022U);
    EXPECT_EQ(arrays[1].GetString(), "last");
}

TEST_F(DesktopBusMessageTest, AnUnknownTypeKeepsItsPlaceAsAnUntypedField)
{
    const auto descriptor = [](BusWriter& writer) { writer.FileDescriptor(0); };
    const auto fields = Read([&](BusWriter& writer)
                             { writer.Text("first").FileDescriptor(0).Variant("h", descriptor).Int32(3); });
    const String untyped = "{DesktopBusField=[type=UNSUPPORTED TYPE(-1); value=<NULL>]}";
    EXPECT_EQ(F::ToString(fields), "[{" + fields.at(0).ToString() + "}" + untyped +
                                       "{DesktopBusField=[type=variant: h(118); value=[" + untyped + "]]}{" +
                                       Number(3).ToString() + "}]");
    // The signature is that of the first argument on the same level.
    const String text =
        "warning DesktopBusMessage: Unable to read unknown DBUS data type 104 with signature ";
    EXPECT_EQ(log->GetLines(), (Lines{text + "s.", text + "h."}));
}

TEST_F(DesktopBusMessageTest, WritesFieldsAndLeavesOutTheUnsupportedOnesBehindAWrittenOne)
{
    const auto options = Array({Entry("ignore-compatible", Boolean(true), "b")}, "{sv}");
    const auto arrays = Array({Array({Text("a")}, "s"), Array({}, "s")}, "as");
    const String number = "; Not supported DBUS data type 105.";
    EXPECT_EQ(Write({}), ": ");
    EXPECT_EQ(Write({Text("/b"), options}), "sa{sv}: /b, [{ignore-compatible=true}]");
    EXPECT_EQ(Write({arrays, Array({}, "{sv}")}), "aasa{sv}: [[a], []], []");
    EXPECT_EQ(Write({Variant(Variant(Text("a"), "s"), "v")}), "v: a");
    EXPECT_EQ(Write({Text("x"), Number(1), Text("y")}), "ss: x, y" + number);
    EXPECT_EQ(Write({Text("x"), Struct({})}), "s: x; Not supported DBUS data type 114.");
    EXPECT_EQ(Write({Array({Text("x"), Number(1)}, "s")}), "as: [x]" + number);
    EXPECT_EQ(Write({Text("x"), F()}), "s: x; Unable to write unknown DBUS data type -1.");

    const String unset = "refused; Signature is not set for DBUS data type ";
    EXPECT_EQ(Write({Number(1)}), "refused" + number);
    EXPECT_EQ(Write({Array({Number(1)}, "i")}), "refused" + number);
    EXPECT_EQ(Write({Variant(Number(1), "i")}), "refused" + number);
    EXPECT_EQ(Write({Array({Text("a")}, "")}), unset + "array.");
    EXPECT_EQ(Write({Variant(Array({}, ""), "as")}), unset + "array.");
    EXPECT_EQ(Write({Variant(Text("a"), "")}), unset + "variant.");

    auto message = Request();
    ASSERT_TRUE(message.WriteFields({options, arrays}));
    EXPECT_EQ(F::ToString(message.ReadFields()), F::ToString(Fields{options, arrays}));
}

TEST_F(DesktopBusMessageTest, WhatWouldEndTheProcessOrTheConnectionIsRefused)
{
    const Fields refused = {Text("bundle\xFF"),
                            Text(String("a\0b", 3)),
                            Array({Text("a"), Text("\xFF")}, "s"),
                            Array({}, "{vs}"),
                            Array({}, "ss"),
                            Array({}, String("s\0s", 3)),
                            Array({}, String(256, 'a') + "s"),
                            Variant(Entry("a", Text("b"), "s"), "{sv}"),
                            Variant(Text("a"), "b"),
                            Array({Text("a"), Boolean(true)}, "s"),
                            Array({Array({}, "b")}, "as"),
                            Entry("a", Text("b"), "s"),
                            Array({Entry({Text("a")})}, "{sv}"),
                            Array({Entry({Text("a"), Number(1)})}, "{si}"),
                            Array({Entry("a", Array({Text("x"), Text("\xFF")}, "s"), "as")}, "{sv}"),
                            Array({Entry(Fields())}, "{sv}")};
    for (const auto& field : refused)
    {
        EXPECT_FALSE(Request().WriteFields({field})) << field.ToString();
        EXPECT_FALSE(Request().WriteFields({Text("a"), field})) << field.ToString();
    }
    log->Clear();
    EXPECT_FALSE(Request().WriteFields({Text("a"), Number(1), Entry("a", Text("b"), "s"), Number(2)}));
    EXPECT_EQ(log->GetLines(), (Lines{"warning DesktopBusMessage: Not supported DBUS data type 105.",
                                      "debug DesktopBusMessage: DBUS_TYPE_DICT_ENTRY"}));
}

TEST_F(DesktopBusMessageTest, ACallWithAnInvalidNameAndAMovedMessageAreUnsetAndTakeNothing)
{
    EXPECT_TRUE(DesktopBusMessage("de.a", "/", "de.a.B", String(255, 'C')).IsSet());
    std::vector<DesktopBusMessage> unset(2);
    unset[0] = Request();
    const auto taken = std::move(unset[0]);
    const String longest(256, 'C');
    for (const String& destination : {String("de"), "a." + longest, String()})
    {
        unset.emplace_back(destination, "/", "a.B", "C");
    }
    for (const String path : {"a", "/a//b", ""})
    {
        unset.emplace_back("a.b", path, "a.B", "C");
    }
    for (const String& method : {longest, String("\xFF"), String("C\0D", 3), String()})
    {
        unset.emplace_back("a.b", "/", "a.B", method);
    }
    unset.emplace_back("a.b", "/", "B", "C");
    for (auto& message : unset)
    {
        EXPECT_FALSE(message.IsSet() || message.IsError() || message.IsMethodReply() || message.IsSignal());
        EXPECT_FALSE(message.IsSignal("a.b", "C") || message.WriteFields({}) ||
                     !message.ReadFields().empty());
    }
    EXPECT_TRUE(taken.IsSet());
}

TEST_F(DesktopBusMessageTest, AVariantGivesItsContentAlsoIntoItselfAndAMovedOrResetFieldHasNone)
{
    auto field = Variant(Array({Text("a"), Text("b")}, "s"), "as");
    auto copy = field;
    ASSERT_TRUE(field.TryGetVariant(field));
    Fields elements = field.GetArray();
    ASSERT_TRUE(field.TryGetArray(elements) && !field.TryGetVariant(field));
    EXPECT_EQ(elements.at(1).GetString() + field.GetString(), "b");
    field.Reset();
    EXPECT_EQ(field.ToString(), "DesktopBusField=[type=UNSUPPORTED TYPE(-1); value=<NULL>]");
    EXPECT_EQ(field.GetContentSignature(), "s") << "it stays";
    EXPECT_EQ(field.PeekString() == nullptr, field.GetContents().empty());
    const auto taken = std::move(copy);
    EXPECT_EQ(copy.GetVariant().GetType(), F::NoType); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(taken.GetVariant().GetArray().at(1).GetString(), "b") << "a copy is independent";
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

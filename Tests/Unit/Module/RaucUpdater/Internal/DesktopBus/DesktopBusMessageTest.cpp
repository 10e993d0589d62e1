#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include "FieldBuilders.h"
#include "Support/BusMessage.h"
#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using Tests::Support::BusMessage;
using Tests::Support::BusWriter;
using Tests::Support::RecordingLog;
using Lines = std::vector<String>;
using System::Commons::Diagnostics::Logging::LogLevel;

class DesktopBusMessageTest : public testing::Test, protected FieldBuilders
{
protected:
    /// What is read from a message with these arguments.
    static Fields Read(const BusWriter::Write& arguments)
    {
        return DesktopBusMessage(BusMessage::LooseReturn().With(arguments).Share()).ReadFields();
    }

    static DesktopBusMessage Request() { return DesktopBusMessage("a.b", "/", "a.b", "C"); }

    const RecordingLog log;
};

TEST_F(DesktopBusMessageTest, EveryTypeIsReadWithItsSignatures)
{
    const auto fields = Read(
        [](BusWriter& writer)
        {
            writer.Byte(65).Boolean(true).Int16(-2).Uint16(3).Int32(-4).Uint32(5).Int64(-6).Uint64(7).Double(
                8.5);
            writer.Text("text").ObjectPath("/path").Signature("a{sv}");
            writer.Array("s", [](BusWriter& elements) { elements.Text("a").Text("b"); });
            writer.Array("{sv}",
                         [](BusWriter& entries)
                         {
                             entries.Entry("key", "(ib)",
                                           [](BusWriter& content) {
                                               content.Struct([](BusWriter& members)
                                                              { members.Int32(1).Boolean(false); });
                                           });
                         });
            writer.Variant("v", [](BusWriter& outer)
                           { outer.Variant("u", [](BusWriter& inner) { inner.Uint32(9); }); });
        });

    const auto inner = Variant(Field([](auto& field) { field.SetUint32(9); }), "u");
    const Fields expected = {
        Field([](auto& field) { field.SetByte(65); }),
        Boolean(true),
        Field([](auto& field) { field.SetInt16(-2); }),
        Field([](auto& field) { field.SetUint16(3); }),
        Number(-4),
        Field([](auto& field) { field.SetUint32(5); }),
        Field([](auto& field) { field.SetInt64(-6); }),
        Field([](auto& field) { field.SetUint64(7); }),
        Field([](auto& field) { field.SetDouble(8.5); }),
        Text("text"),
        Field([](auto& field) { field.SetObjectPath("/path"); }),
        Field([](auto& field) { field.SetSignature("a{sv}"); }),
        Array({Text("a"), Text("b")}, "s"),
        Array({Entry("key", Struct({Number(1), Boolean(false)}), "(ib)")}, "{sv}"),
        Variant(inner, "v"),
    };
    EXPECT_EQ(DesktopBusField::ToString(fields), DesktopBusField::ToString(expected));
}

TEST_F(DesktopBusMessageTest, AnEmptyArrayKeepsItsElementSignature)
{
    const auto fields =
        Read([](BusWriter& writer) { writer.Array("a{sv}", [](BusWriter&) {}).Text("behind"); });
    ASSERT_EQ(fields.size(), 2U);
    EXPECT_EQ(fields[0].GetContentSignature(), "a{sv}");
    EXPECT_EQ(fields[0].GetArray().size(), 0U);
    EXPECT_EQ(fields[1].GetString(), "behind");
}

TEST_F(DesktopBusMessageTest, WithoutArgumentsOrUnsetThereIsNothingToRead)
{
    EXPECT_TRUE(Read([](BusWriter&) {}).empty());
    EXPECT_TRUE(DesktopBusMessage().ReadFields().empty());
    EXPECT_TRUE(DesktopBusMessage(nullptr).ReadFields().empty());
}

TEST_F(DesktopBusMessageTest, AMessageIsReadUpTo1024FieldsOfAllDepths)
{
    const auto texts = [](int count)
    {
        return [count](BusWriter& elements)
        {
            for (int i = 0; i < count; ++i)
            {
                elements.Text("x");
            }
        };
    };
    const auto large = Read([&](BusWriter& writer) { writer.Array("s", texts(2000)).Text("dropped"); });
    ASSERT_EQ(large.size(), 1U);
    EXPECT_EQ(large[0].GetArray().size(), 1023U);

    // Empty arrays count once: nothing in them is read.
    const auto arrays = Read(
        [&](BusWriter& writer)
        {
            writer.Array("as",
                         [](BusWriter& elements)
                         {
                             for (int i = 0; i < 1022; ++i)
                             {
                                 elements.Array("s", [](BusWriter&) {});
                             }
                         });
            writer.Text("last").Text("dropped");
        });
    ASSERT_EQ(arrays.size(), 2U);
    EXPECT_EQ(arrays[0].GetArray().size(), 1022U);
    EXPECT_EQ(arrays[1].GetString(), "last");
}

TEST_F(DesktopBusMessageTest, AnUnknownTypeKeepsItsPlaceAsAnUntypedField)
{
    const auto fields = Read(
        [](BusWriter& writer)
        {
            writer.Text("first").FileDescriptor(0);
            writer.Variant("h", [](BusWriter& content) { content.FileDescriptor(0); }).Int32(3);
        });
    ASSERT_EQ(fields.size(), 4U);
    EXPECT_EQ(fields[1].GetType(), DesktopBusField::NoType);
    EXPECT_EQ(fields[2].GetContentSignature(), "h");
    EXPECT_EQ(fields[2].GetVariant().GetType(), DesktopBusField::NoType);
    EXPECT_EQ(fields[3].GetInt32(), 3);
    // The signature is that of the first argument on the same level.
    EXPECT_EQ(
        log->GetLines(),
        (Lines{"warning DesktopBusMessage: Unable to read unknown DBUS data type 104 with signature s.",
               "warning DesktopBusMessage: Unable to read unknown DBUS data type 104 with signature h."}));
}

struct WriteCase
{
    String name;
    DesktopBusField::Fields fields;
    bool isWritten;
    String signature;
    Lines arguments;
    Lines lines;
};

class DesktopBusMessageWriteTest : public DesktopBusMessageTest
{
protected:
    void Expect(const std::vector<WriteCase>& cases)
    {
        for (const auto& expected : cases)
        {
            SCOPED_TRACE(expected.name);
            log->Clear();
            auto message = Request();
            ASSERT_EQ(message.WriteFields(expected.fields), expected.isWritten);
            EXPECT_EQ(log->GetLines(LogLevel::Warning), expected.lines);
            if (expected.isWritten)
            {
                const auto written = BusMessage::Sharing(message.Get());
                EXPECT_EQ(written.GetSignature(), expected.signature);
                EXPECT_EQ(written.GetArguments(), expected.arguments);
            }
        }
    }

    static String NotSupported(const String& code)
    {
        return "warning DesktopBusMessage: Not supported DBUS data type " + code + ".";
    }

    static String Unset(const String& type)
    {
        return "error DesktopBusMessage: Signature is not set for DBUS data type " + type + ".";
    }
};

TEST_F(DesktopBusMessageWriteTest, FieldsOfTheSupportedTypesAreWritten)
{
    const auto options = Array({Entry("ignore-compatible", Boolean(true), "b")}, "{sv}");
    Expect({
        {"nothing", {}, true, "", {}, {}},
        {"basic", {Text("a"), Boolean(false), Text("")}, true, "sbs", {"a", "false", ""}, {}},
        {"dictionary",
         {Text("/bundle"), options},
         true,
         "sa{sv}",
         {"/bundle", "[{ignore-compatible=true}]"},
         {}},
        {"empty array", {Array({}, "{sv}")}, true, "a{sv}", {"[]"}, {}},
        {"array of arrays",
         {Array({Array({Text("a")}, "s"), Array({}, "s")}, "as")},
         true,
         "aas",
         {"[[a], []]"},
         {}},
        {"variant in a variant", {Variant(Variant(Text("a"), "s"), "v")}, true, "v", {"a"}, {}},
    });
}

TEST_F(DesktopBusMessageWriteTest, AnUnsupportedFieldFailsTheHeadOfAListAndIsLeftOutBehindAWrittenOne)
{
    Expect({
        {"head", {Number(1)}, false, "", {}, {NotSupported("105")}},
        {"behind", {Text("x"), Number(1), Text("y")}, true, "ss", {"x", "y"}, {NotSupported("105")}},
        {"struct behind", {Text("x"), Struct({})}, true, "s", {"x"}, {NotSupported("114")}},
        {"untyped",
         {Text("x"), DesktopBusField()},
         true,
         "s",
         {"x"},
         {"warning DesktopBusMessage: Unable to write unknown DBUS data type -1."}},
        {"in an array", {Array({Text("x"), Number(1)}, "s")}, true, "as", {"[x]"}, {NotSupported("105")}},
        {"head of an array", {Array({Number(1)}, "i")}, false, "", {}, {NotSupported("105")}},
        {"in a variant", {Variant(Number(1), "i")}, false, "", {}, {NotSupported("105")}},
    });
}

TEST_F(DesktopBusMessageWriteTest, AContainerWithoutASignatureIsRefusedWithAnError)
{
    Expect({
        {"array", {Array({Text("a")}, "")}, false, "", {}, {Unset("array")}},
        {"variant", {Variant(Text("a"), "")}, false, "", {}, {Unset("variant")}},
        {"within", {Variant(Array({}, ""), "as")}, false, "", {}, {Unset("array")}},
    });
}

TEST_F(DesktopBusMessageWriteTest, WhatWouldEndTheProcessInLibdbusIsRefused)
{
    DesktopBusField deep = Text("core");
    for (int depth = 0; depth < DesktopBusMessage::MaximumDepth + 1; ++depth)
    {
        deep = Variant(deep, depth == 0 ? "s" : "v");
    }
    const std::vector<std::pair<String, DesktopBusField>> refused = {
        {"no UTF-8", Text("bundle\xFF")},
        {"cut UTF-8", Text("\xC3")},
        {"NUL", Text(String("a\0b", 3))},
        {"within", Array({Text("a"), Text("\xFF")}, "s")},
        {"invalid signature", Array({}, "{vs}")},
        {"no type", Array({}, "!")},
        {"two types", Array({}, "ss")},
        {"NUL in a signature", Array({}, String("s\0s", 3))},
        {"two types in a variant", Variant(Text("a"), "ss")},
        {"dict entry in a variant", Variant(Entry("a", Text("b"), "s"), "{sv}")},
        {"other element", Array({Text("a"), Boolean(true)}, "s")},
        {"other variant", Variant(Text("a"), "b")},
        {"other array", Array({Array({}, "b")}, "as")},
        {"dict entry elsewhere", Entry("a", Text("b"), "s")},
        {"half a dict entry", Array({Entry({Text("a")})}, "{sv}")},
        {"dict entry with a value left out", Array({Entry({Text("a"), Number(1)})}, "{si}")},
        {"dict entry with a bad value", Array({Entry("a", Text("b"), "ss")}, "{sv}")},
        {"dict entry with a deep bad value",
         Array({Entry("a", Array({Text("x"), Text("\xFF")}, "s"), "as")}, "{sv}")},
        {"empty dict entry", Array({Entry(Fields())}, "{sv}")},
        {"too deep", deep},
    };
    for (const auto& [name, field] : refused)
    {
        EXPECT_FALSE(Request().WriteFields({field})) << name;
        EXPECT_FALSE(Request().WriteFields({Text("before"), field})) << name;
    }
    EXPECT_TRUE(Request().WriteFields({*deep.PeekVariant()}));
}

TEST_F(DesktopBusMessageTest, ACallWithAnInvalidNameIsUnset)
{
    EXPECT_TRUE(DesktopBusMessage("de.a", "/", "de.a.B", "C").IsSet());
    EXPECT_FALSE(DesktopBusMessage("de", "/", "de.a.B", "C").IsSet());
    EXPECT_FALSE(DesktopBusMessage("de.a", "a", "de.a.B", "C").IsSet());
    EXPECT_FALSE(DesktopBusMessage("de.a", "/", "B", "C").IsSet());
    EXPECT_FALSE(DesktopBusMessage("de.a", "/", "de.a.B", "C D").IsSet());
    EXPECT_FALSE(DesktopBusMessage("de.a", "/", "de.a.B", "\xFF").IsSet());
    EXPECT_FALSE(DesktopBusMessage("de.a", "/", "de.a.B", String("C\0D", 3)).IsSet());
    EXPECT_FALSE(DesktopBusMessage("", "", "", "").IsSet());
}

TEST_F(DesktopBusMessageTest, AnUnsetMessageIsNothingAndTakesNothing)
{
    DesktopBusMessage message = Request();
    const DesktopBusMessage taken = std::move(message);
    EXPECT_TRUE(taken.IsSet());
    EXPECT_FALSE(message.IsSet()); // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(message.IsError());
    EXPECT_FALSE(message.IsMethodReply());
    EXPECT_FALSE(message.IsSignal());
    EXPECT_FALSE(message.IsSignal("a.b", "C"));
    EXPECT_FALSE(message.WriteFields({Text("a")}));
    EXPECT_FALSE(message.WriteFields({}));
}

TEST_F(DesktopBusMessageTest, AMessageKnowsItsKind)
{
    const auto kind = [](const BusMessage& source)
    {
        const DesktopBusMessage message(source.Share());
        return std::tuple(message.IsError(), message.IsMethodReply(), message.IsSignal());
    };
    const auto call = BusMessage::MethodCall("a.b", "/", "a.b", "C");
    EXPECT_EQ(kind(call), std::tuple(false, false, false));
    EXPECT_EQ(kind(BusMessage::LooseReturn()), std::tuple(false, true, false));
    EXPECT_EQ(kind(BusMessage::LooseError("a.b.Error", "text")), std::tuple(true, false, false));

    const DesktopBusMessage signal(BusMessage::Signal("/", "a.b", "Changed").Share());
    EXPECT_TRUE(signal.IsSignal());
    EXPECT_TRUE(signal.IsSignal("a.b", "Changed"));
    EXPECT_FALSE(signal.IsSignal("a.b", "Change"));
    EXPECT_FALSE(signal.IsSignal("a.c", "Changed"));
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

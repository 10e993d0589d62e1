#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"

#include "FieldBuilders.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusError.h"
#include "Support/RecordingLog.h"

#include <dbus/dbus.h>
#include <gtest/gtest.h>

#include <regex>
#include <tuple>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using Lines = std::vector<String>;

struct DesktopBusMessageTest : testing::Test, FieldBuilders
{
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

    /// Returns the texts and what is true, each behind a space, whatever contains them.
    static String Flatten(std::span<const F> fields)
    {
        String text;
        for (const F& field : fields)
        {
            text += Flatten(field.GetContents()) + (field.PeekString() == nullptr ? "" : " ") +
                    field.GetString() + (field.GetBoolean() ? " true" : "");
        }
        return text;
    }

    /// Writes a call with these arguments and returns its signature, what is read from it, and warnings.
    String Write(const Fields& fields)
    {
        log.Clear();
        auto message = Request();
        String text = "refused";
        if (message.WriteFields(fields))
        {
            text = dbus_message_get_signature(message.Get()) + String(":") + Flatten(message.ReadFields());
        }
        for (auto line : log.GetLinesOf("DesktopBusMessage", Tests::Support::RecordingLog::LogLevel::Warning))
        {
            text += "; " + line.erase(line.find(" DesktopBusMessage:"), 19);
        }
        return text;
    }

    const Tests::Support::RecordingLog log;
};

TEST_F(DesktopBusMessageTest, EveryTypeIsReadAndPrintedAndTakenByItsOwnReaderOnly)
{
    String text = "a \"{0}\" b";
    String path = "/";
    String signature = "a{sv}";
    auto message = Request();
    DBusMessageIter iter{};
    dbus_message_iter_init_append(message.Get(), &iter);
    const std::vector<std::pair<int, DBusBasicValue>> values = {{'y', {.byt = 65}},
                                                                {'b', {.bool_val = 1}},
                                                                {'n', {.i16 = -32768}},
                                                                {'q', {.u16 = 65535}},
                                                                {'i', {.i32 = INT32_MIN}},
                                                                {'u', {.u32 = UINT32_MAX}},
                                                                {'x', {.i64 = -5'000'000'000}},
                                                                {'t', {.u64 = UINT64_MAX}},
                                                                {'d', {.dbl = 1234567.0}},
                                                                {'s', {.str = text.data()}},
                                                                {'o', {.str = path.data()}},
                                                                {'g', {.str = signature.data()}}};
    for (const auto& [type, value] : values)
    {
        ASSERT_TRUE(dbus_message_iter_append_basic(&iter, type, &value));
    }
    ASSERT_TRUE(message.WriteFields({Array({Entry("k", Text("m"), "s")}, "{sv}"),
                                     Variant(Variant(Text("m"), "s"), "v"), Array({}, "a{sv}")}));
    auto fields = message.ReadFields();
    fields.insert(fields.begin() + 12, Struct({Text("m"), Boolean(false)}));
    EXPECT_EQ(
        std::regex_replace(F::ToString(fields), std::regex("DesktopBusField=\\[type="), ""),
        "[{byte(121); value=A]}{bool(98); value=true]}{int16(110); value=-32768]}"
        "{uint16(113); value=65535]}{int32(105); value=-2147483648]}"
        "{uint32(117); value=4294967295]}{int64(120); value=-5000000000]}"
        "{uint64(116); value=18446744073709551615]}{double(100); value=1.23457e+06]}"
        "{string(115); value=\"a \"{0}\" b\"]}{objectpath(111); value=\"/\"]}"
        "{signature(103); value=\"a{sv}\"]}"
        "{struct(114); value=[{string(115); value=\"m\"]}{bool(98); value=false]}]]}"
        "{array: {sv}(97); value=[{dict(101); "
        "value=[{string(115); value=\"k\"]}{variant: s(118); value=[{string(115); value=\"m\"]}]]}]]}]]}"
        "{variant: v(118); value=[{variant: s(118); value=[{string(115); value=\"m\"]}]]}]]}"
        "{array: a{sv}(97); value=[]]}]");
    fields.back() = fields.at(13).GetArray().at(0);
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        String own(16, '-');
        own[i] = 'x';
        EXPECT_EQ(Ask(fields[i], &F::TryGetByte, &F::TryGetBoolean, &F::TryGetInt16, &F::TryGetUint16,
                      &F::TryGetInt32, &F::TryGetUint32, &F::TryGetInt64, &F::TryGetUint64, &F::TryGetDouble,
                      &F::TryGetString, &F::TryGetObjectPath, &F::TryGetSignature, &F::TryGetStruct,
                      &F::TryGetArray, &F::TryGetVariant, &F::TryGetDictEntry),
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
    auto large = Request();
    const String bytes(100'000, '\0');
    const char* start = bytes.data();
    ASSERT_TRUE(dbus_message_append_args(large.Get(), DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &start,
                                         static_cast<int>(bytes.size()), DBUS_TYPE_INVALID));
    ASSERT_TRUE(large.WriteFields({Text("dropped")}));
    ASSERT_EQ(large.ReadFields().size(), 1U);
    EXPECT_EQ(large.ReadFields()[0].GetArray().size(), 1023U);

    // Empty arrays count once: nothing in them is read.
    auto arrays = Request();
    ASSERT_TRUE(
        arrays.WriteFields({Array(Fields(1022, Array({}, "s")), "as"), Text("last"), Text("dropped")}));
    ASSERT_EQ(arrays.ReadFields().size(), 2U);
    EXPECT_EQ(arrays.ReadFields()[0].GetArray().size(), 1022U);
    EXPECT_EQ(arrays.ReadFields()[1].GetString(), "last");
}

TEST_F(DesktopBusMessageTest, AnUnknownTypeKeepsItsPlaceAsAnUntypedField)
{
    auto message = Request();
    ASSERT_TRUE(message.WriteFields({Text("first")}));
    const int number = 0;
    ASSERT_TRUE(dbus_message_append_args(message.Get(), DBUS_TYPE_UNIX_FD, &number, DBUS_TYPE_INT32, &number,
                                         DBUS_TYPE_INVALID));
    EXPECT_EQ(F::ToString(message.ReadFields()), F::ToString(Fields{Text("first"), F(), Number(0)}));
    // The signature is that of the first argument.
    EXPECT_EQ(log.GetLines(), Lines{"warning DesktopBusMessage: Unable to read unknown DBUS data type 104 "
                                    "with signature s."});
}

TEST_F(DesktopBusMessageTest, WritesFieldsAndLeavesOutTheUnsupportedOnesBehindAWrittenOne)
{
    const auto options = Array({Entry("ignore-compatible", Boolean(true), "b")}, "{sv}");
    const auto arrays = Array({Array({Text("a")}, "s"), Array({}, "s")}, "as");
    const String number = "; warning Not supported DBUS data type 105.";
    EXPECT_EQ(Write({}), ":");
    EXPECT_EQ(Write({Text("/b"), options}), "sa{sv}: /b ignore-compatible true");
    EXPECT_EQ(Write({arrays, Array({}, "{sv}")}), "aasa{sv}: a");
    EXPECT_EQ(Write({Variant(Variant(Text("a"), "s"), "v")}), "v: a");
    EXPECT_EQ(Write({Text("x"), Number(1), Text("y")}), "ss: x y" + number);
    EXPECT_EQ(Write({Text("x"), Struct({})}), "s: x; warning Not supported DBUS data type 114.");
    EXPECT_EQ(Write({Array({Text("x"), Number(1)}, "s")}), "as: x" + number);
    EXPECT_EQ(Write({Text("x"), F()}), "s: x; warning Unable to write unknown DBUS data type -1.");

    const String unset = "refused; error Signature is not set for DBUS data type ";
    EXPECT_EQ(Write({Number(1)}), "refused" + number);
    EXPECT_EQ(Write({Array({Number(1)}, "i")}), "refused" + number);
    EXPECT_EQ(Write({Variant(Number(1), "i")}), "refused" + number);
    EXPECT_EQ(Write({Array({Text("a")}, "")}), unset + "array.");
    EXPECT_EQ(Write({Variant(Array({}, ""), "as")}), unset + "array.");
    EXPECT_EQ(Write({Variant(Text("a"), "")}), unset + "variant.");

    auto message = Request();
    log.Clear();
    ASSERT_TRUE(message.WriteFields({options}));
    const String type = "debug DesktopBusMessage: DBUS_TYPE_";
    EXPECT_EQ(log.GetLines(), (Lines{type + "ARRAY", type + "DICT_ENTRY", type + "VARIANT"}));
    ASSERT_TRUE(message.WriteFields({arrays}));
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
    log.Clear();
    EXPECT_FALSE(Request().WriteFields({Text("a"), Number(1), Entry("a", Text("b"), "s"), Number(2)}));
    EXPECT_EQ(log.GetLines(), (Lines{"warning DesktopBusMessage: Not supported DBUS data type 105.",
                                     "debug DesktopBusMessage: DBUS_TYPE_DICT_ENTRY"}));
}

TEST_F(DesktopBusMessageTest, ACallWithAnInvalidNameAndAMovedMessageAreUnsetAndTakeNothing)
{
    EXPECT_TRUE(DesktopBusMessage("de.a", "/", "de.a.B", String(255, 'C')).IsSet());
    std::vector<DesktopBusMessage> unset(1);
    unset[0] = Request();
    const auto taken = std::move(unset[0]);
    for (const String& bad : {String(), String(256, 'C'), String("\xFF"), String("C\0D", 3), String("/a//b")})
    {
        unset.emplace_back(bad, "/", "a.B", "C");
        unset.emplace_back("a.b", bad, "a.B", "C");
        unset.emplace_back("a.b", "/", bad, "C");
        unset.emplace_back("a.b", "/", "a.B", bad);
    }
    for (auto& message : unset)
    {
        EXPECT_FALSE(message.IsSet() || message.IsError() || message.IsMethodReply() || message.IsSignal());
        EXPECT_FALSE(message.IsSignal("a.b", "C") || message.WriteFields({}) ||
                     !message.ReadFields().empty());
    }
    EXPECT_TRUE(taken.IsSet());
}

TEST_F(DesktopBusMessageTest, AnErrorIsReplacedByThatOfAnotherErrorMessageOnly)
{
    const auto make = [](const char* name)
    {
        DesktopBusMessage message(dbus_message_new(DBUS_MESSAGE_TYPE_ERROR));
        EXPECT_TRUE(dbus_message_set_error_name(message.Get(), name));
        return message;
    };
    DesktopBusError error(make("a.First"));
    EXPECT_TRUE(error.Set(make("a.Second")));
    EXPECT_FALSE(error.Set(Request()));
    EXPECT_EQ(error.GetName(), "a.Second");
}

TEST_F(DesktopBusMessageTest, AVariantGivesItsContentAlsoIntoItself)
{
    auto field = Variant(Array({Text("a"), Text("b")}, "s"), "as");
    ASSERT_TRUE(field.TryGetVariant(field));
    EXPECT_EQ(field.GetArray().at(1).GetString(), "b");
    field.Reset();
    EXPECT_EQ(field.ToString(), "DesktopBusField=[type=UNSUPPORTED TYPE(-1); value=<NULL>]");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

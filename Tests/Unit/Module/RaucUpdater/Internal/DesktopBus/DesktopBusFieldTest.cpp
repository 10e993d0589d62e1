#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"

#include <gtest/gtest.h>

#include <functional>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

DesktopBusField Field(const std::function<void(DesktopBusField&)>& set)
{
    DesktopBusField field;
    set(field);
    return field;
}

DesktopBusField Text(const String& text)
{
    return Field([&](auto& field) { field.SetString(text); });
}

struct Printed
{
    DesktopBusField field;
    String text;
};

/// One field of each type, and how it is printed.
std::vector<Printed> AllTypes()
{
    const auto printed = [](const std::function<void(DesktopBusField&)>& set, const String& text) {
        return Printed{Field(set), "DesktopBusField=[type=" + text + "]"};
    };
    return {
        printed([](auto& field) { field.SetByte(65); }, "byte(121); value=A"),
        printed([](auto& field) { field.SetBoolean(true); }, "bool(98); value=true"),
        printed([](auto& field) { field.SetInt16(-32768); }, "int16(110); value=-32768"),
        printed([](auto& field) { field.SetUint16(65535); }, "uint16(113); value=65535"),
        printed([](auto& field) { field.SetInt32(-2147483647 - 1); }, "int32(105); value=-2147483648"),
        printed([](auto& field) { field.SetUint32(4294967295U); }, "uint32(117); value=4294967295"),
        printed([](auto& field) { field.SetInt64(-5'000'000'000); }, "int64(120); value=-5000000000"),
        printed([](auto& field) { field.SetUint64(18446744073709551615U); },
                "uint64(116); value=18446744073709551615"),
        printed([](auto& field) { field.SetDouble(1234567.0); }, "double(100); value=1.23457e+06"),
        printed([](auto& field) { field.SetString("a \"{0}\" b"); }, "string(115); value=\"a \"{0}\" b\""),
        printed([](auto& field) { field.SetObjectPath("/"); }, "objectpath(111); value=\"/\""),
        printed([](auto& field) { field.SetSignature("a{sv}"); }, "signature(103); value=\"a{sv}\""),
        printed(
            [](auto& field) {
                field.SetArray({Text("a"), Text("b")}, "s");
            },
            "array: s(97); value=[{DesktopBusField=[type=string(115); value=\"a\"]}"
            "{DesktopBusField=[type=string(115); value=\"b\"]}]"),
        printed([](auto& field) { field.SetStruct({Text("a")}); },
                "struct(114); value=[{DesktopBusField=[type=string(115); value=\"a\"]}]"),
        printed([](auto& field) { field.SetDictEntry({}); }, "dict(101); value=[]"),
        printed([](auto& field) { field.SetVariant(Field([](auto& inner) { inner.SetUint32(7); }), "u"); },
                "variant: u(118); value=[{DesktopBusField=[type=uint32(117); value=7]}]"),
        printed([](auto&) {}, "UNSUPPORTED TYPE(-1); value=<NULL>"),
    };
}

TEST(DesktopBusFieldTest, EveryTypeIsPrintedWithItsNameCodeAndValue)
{
    for (const auto& [field, text] : AllTypes())
    {
        EXPECT_EQ(field.ToString(), text);
    }
    EXPECT_EQ(DesktopBusField::ToString({}), "[]");
}

/// Which of the sixteen readers take a field, as their type codes.
String AcceptingReaders(const DesktopBusField& field)
{
    String accepting;
    const auto ask = [&](std::int32_t type, auto tryGet, auto content)
    {
        if ((field.*tryGet)(content))
        {
            accepting += static_cast<char>(type);
        }
    };
    using F = DesktopBusField;
    ask(F::ByteType, &F::TryGetByte, std::uint8_t());
    ask(F::BooleanType, &F::TryGetBoolean, false);
    ask(F::Int16Type, &F::TryGetInt16, std::int16_t());
    ask(F::Uint16Type, &F::TryGetUint16, std::uint16_t());
    ask(F::Int32Type, &F::TryGetInt32, std::int32_t());
    ask(F::Uint32Type, &F::TryGetUint32, std::uint32_t());
    ask(F::Int64Type, &F::TryGetInt64, std::int64_t());
    ask(F::Uint64Type, &F::TryGetUint64, std::uint64_t());
    ask(F::DoubleType, &F::TryGetDouble, double());
    ask(F::StringType, &F::TryGetString, String());
    ask(F::ObjectPathType, &F::TryGetObjectPath, String());
    ask(F::SignatureType, &F::TryGetSignature, String());
    ask(F::ArrayType, &F::TryGetArray, F::Fields());
    ask(F::StructType, &F::TryGetStruct, F::Fields());
    ask(F::DictEntryType, &F::TryGetDictEntry, F::Fields());
    ask(F::VariantType, &F::TryGetVariant, F());
    return accepting;
}

TEST(DesktopBusFieldTest, OnlyTheReaderOfItsTypeTakesAField)
{
    for (const auto& [field, text] : AllTypes())
    {
        const String own = field.GetType() == DesktopBusField::NoType
                               ? String()
                               : String(1, static_cast<char>(field.GetType()));
        EXPECT_EQ(AcceptingReaders(field), own) << text;
    }
}

TEST(DesktopBusFieldTest, ReadersOfAnotherTypeLeaveTheirArgumentAloneAndGiveZeroValues)
{
    const auto number = Field([](auto& field) { field.SetUint32(5); });
    std::int32_t content = 42;
    EXPECT_FALSE(number.TryGetInt32(content));
    EXPECT_EQ(content, 42);
    EXPECT_EQ(number.GetInt32(), 0);
    EXPECT_EQ(number.GetUint32(), 5U);

    String text = "before";
    const auto path = Field([](auto& field) { field.SetObjectPath("/"); });
    EXPECT_FALSE(path.TryGetString(text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(path.GetString(), "");
    EXPECT_EQ(path.GetObjectPath(), "/");
    EXPECT_EQ(path.PeekString(), nullptr);
    EXPECT_EQ(path.GetVariant().GetType(), DesktopBusField::NoType);
    EXPECT_TRUE(path.GetArray().empty());
}

TEST(DesktopBusFieldTest, TheContentSignatureOutlivesAChangeOfType)
{
    auto field = Field([](auto& set) { set.SetArray({Text("a")}, "s"); });
    field.SetInt32(1);
    EXPECT_EQ(field.GetContentSignature(), "s");
    field.SetVariant(Text("a"), "v");
    EXPECT_EQ(field.GetContentSignature(), "v");
}

TEST(DesktopBusFieldTest, AResetFieldIsRefusedByEveryReader)
{
    auto field = Text("a");
    field.Reset();
    EXPECT_EQ(field.GetType(), -1);
    EXPECT_EQ(AcceptingReaders(field), "");
    EXPECT_EQ(field.ToString(), "DesktopBusField=[type=UNSUPPORTED TYPE(-1); value=<NULL>]");
}

TEST(DesktopBusFieldTest, AVariantGivesItsContentAlsoIntoItself)
{
    auto field = Field([](auto& set) { set.SetVariant(Text("inner"), "s"); });
    EXPECT_EQ(field.GetVariant().GetString(), "inner");
    ASSERT_NE(field.PeekVariant(), nullptr);
    EXPECT_EQ(field.PeekVariant()->GetString(), "inner");
    ASSERT_TRUE(field.TryGetVariant(field));
    EXPECT_EQ(field.GetString(), "inner");
}

TEST(DesktopBusFieldTest, AVariantWithoutContentIsRefused)
{
    auto field = Field([](auto& set) { set.SetVariant(Text("inner"), "s"); });
    const DesktopBusField taken = std::move(field);
    DesktopBusField content;
    // A moved field keeps its type and has nothing in it.
    EXPECT_FALSE(field.TryGetVariant(content)); // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(taken.TryGetVariant(content));
}

TEST(DesktopBusFieldTest, ACopyIsIndependentOfItsSource)
{
    auto source = Field([](auto& set) { set.SetArray({Text("a"), Text("b")}, "s"); });
    const auto copy = source;
    source.SetArray({}, "u");
    ASSERT_EQ(copy.GetArray().size(), 2U);
    EXPECT_EQ(copy.GetArray()[1].GetString(), "b");
    EXPECT_EQ(copy.GetContentSignature(), "s");
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

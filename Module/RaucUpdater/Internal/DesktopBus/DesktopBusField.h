#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <span>
#include <utility>
#include <variant>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// One D-Bus value of any type: a node of a value tree. A plain value: a copy copies the whole subtree, and a
/// field owns its child fields. Not synchronised.
///
/// A `TryGet*` reader returns false and leaves its argument alone when the field has another type; there is
/// no conversion, not even between a string and an object path. A `Get*` reader returns the zero value then
/// (0, false, empty, an untyped field). A `Peek*` reader lends what the field owns, until the field is
/// changed or destroyed, and returns null then.
class DesktopBusField
{
public:
    using Fields = std::vector<DesktopBusField>;

    /// Type codes: the characters of D-Bus signatures. `NoType` is that of a new field and of a value that
    /// has no representation here.
    static constexpr std::int32_t NoType = -1;
    static constexpr std::int32_t ByteType = 'y';
    static constexpr std::int32_t BooleanType = 'b';
    static constexpr std::int32_t Int16Type = 'n';
    static constexpr std::int32_t Uint16Type = 'q';
    static constexpr std::int32_t Int32Type = 'i';
    static constexpr std::int32_t Uint32Type = 'u';
    static constexpr std::int32_t Int64Type = 'x';
    static constexpr std::int32_t Uint64Type = 't';
    static constexpr std::int32_t DoubleType = 'd';
    static constexpr std::int32_t StringType = 's';
    static constexpr std::int32_t ObjectPathType = 'o';
    static constexpr std::int32_t SignatureType = 'g';
    static constexpr std::int32_t ArrayType = 'a';
    static constexpr std::int32_t StructType = 'r';
    static constexpr std::int32_t DictEntryType = 'e';
    static constexpr std::int32_t VariantType = 'v';

    void SetByte(std::uint8_t content) { Set(ByteType, content); }

    void SetBoolean(bool content) { Set(BooleanType, content); }

    void SetInt16(std::int16_t content) { Set(Int16Type, content); }

    void SetUint16(std::uint16_t content) { Set(Uint16Type, content); }

    void SetInt32(std::int32_t content) { Set(Int32Type, content); }

    void SetUint32(std::uint32_t content) { Set(Uint32Type, content); }

    void SetInt64(std::int64_t content) { Set(Int64Type, content); }

    void SetUint64(std::uint64_t content) { Set(Uint64Type, content); }

    void SetDouble(double content) { Set(DoubleType, content); }

    void SetString(String content) { Set(StringType, std::move(content)); }

    void SetObjectPath(String content) { Set(ObjectPathType, std::move(content)); }

    void SetSignature(String content) { Set(SignatureType, std::move(content)); }

    /// `elementSignature` is the D-Bus signature of one element, for example "s" or "{sv}".
    void SetArray(Fields elements, String elementSignature);

    void SetStruct(Fields members) { Set(StructType, std::move(members)); }

    /// By convention two members: key, then value.
    void SetDictEntry(Fields keyAndValue) { Set(DictEntryType, std::move(keyAndValue)); }

    /// `containedSignature` is the D-Bus signature of `contained`.
    void SetVariant(DesktopBusField contained, String containedSignature);

    [[nodiscard]] bool TryGetByte(std::uint8_t& content) const { return TryGet(ByteType, content); }

    [[nodiscard]] bool TryGetBoolean(bool& content) const { return TryGet(BooleanType, content); }

    [[nodiscard]] bool TryGetInt16(std::int16_t& content) const { return TryGet(Int16Type, content); }

    [[nodiscard]] bool TryGetUint16(std::uint16_t& content) const { return TryGet(Uint16Type, content); }

    [[nodiscard]] bool TryGetInt32(std::int32_t& content) const { return TryGet(Int32Type, content); }

    [[nodiscard]] bool TryGetUint32(std::uint32_t& content) const { return TryGet(Uint32Type, content); }

    [[nodiscard]] bool TryGetInt64(std::int64_t& content) const { return TryGet(Int64Type, content); }

    [[nodiscard]] bool TryGetUint64(std::uint64_t& content) const { return TryGet(Uint64Type, content); }

    [[nodiscard]] bool TryGetDouble(double& content) const { return TryGet(DoubleType, content); }

    [[nodiscard]] bool TryGetString(String& content) const { return TryGet(StringType, content); }

    [[nodiscard]] bool TryGetObjectPath(String& content) const { return TryGet(ObjectPathType, content); }

    [[nodiscard]] bool TryGetSignature(String& content) const { return TryGet(SignatureType, content); }

    [[nodiscard]] bool TryGetArray(Fields& elements) const { return TryGet(ArrayType, elements); }

    [[nodiscard]] bool TryGetStruct(Fields& members) const { return TryGet(StructType, members); }

    [[nodiscard]] bool TryGetDictEntry(Fields& keyAndValue) const
    {
        return TryGet(DictEntryType, keyAndValue);
    }

    [[nodiscard]] bool TryGetVariant(DesktopBusField& contained) const;

    [[nodiscard]] std::uint8_t GetByte() const { return GetOrZero<std::uint8_t>(ByteType); }

    [[nodiscard]] bool GetBoolean() const { return GetOrZero<bool>(BooleanType); }

    [[nodiscard]] std::int16_t GetInt16() const { return GetOrZero<std::int16_t>(Int16Type); }

    [[nodiscard]] std::uint16_t GetUint16() const { return GetOrZero<std::uint16_t>(Uint16Type); }

    [[nodiscard]] std::int32_t GetInt32() const { return GetOrZero<std::int32_t>(Int32Type); }

    [[nodiscard]] std::uint32_t GetUint32() const { return GetOrZero<std::uint32_t>(Uint32Type); }

    [[nodiscard]] std::int64_t GetInt64() const { return GetOrZero<std::int64_t>(Int64Type); }

    [[nodiscard]] std::uint64_t GetUint64() const { return GetOrZero<std::uint64_t>(Uint64Type); }

    [[nodiscard]] double GetDouble() const { return GetOrZero<double>(DoubleType); }

    [[nodiscard]] String GetString() const { return GetOrZero<String>(StringType); }

    [[nodiscard]] String GetObjectPath() const { return GetOrZero<String>(ObjectPathType); }

    [[nodiscard]] String GetSignature() const { return GetOrZero<String>(SignatureType); }

    [[nodiscard]] Fields GetArray() const { return GetOrZero<Fields>(ArrayType); }

    [[nodiscard]] Fields GetStruct() const { return GetOrZero<Fields>(StructType); }

    [[nodiscard]] Fields GetDictEntry() const { return GetOrZero<Fields>(DictEntryType); }

    [[nodiscard]] DesktopBusField GetVariant() const;

    [[nodiscard]] const String* PeekString() const noexcept { return Peek<String>(StringType); }

    [[nodiscard]] const Fields* PeekArray() const noexcept { return Peek<Fields>(ArrayType); }

    [[nodiscard]] const Fields* PeekStruct() const noexcept { return Peek<Fields>(StructType); }

    [[nodiscard]] const Fields* PeekDictEntry() const noexcept { return Peek<Fields>(DictEntryType); }

    [[nodiscard]] const DesktopBusField* PeekVariant() const noexcept;

    /// Returns what a container of any type holds, lent like by `Peek*`; empty for another type.
    [[nodiscard]] std::span<const DesktopBusField> GetContents() const noexcept;

    [[nodiscard]] std::int32_t GetType() const noexcept { return type; }

    /// The signature given with the last array or variant; setting another type leaves it as it was.
    [[nodiscard]] const String& GetContentSignature() const noexcept { return contentSignature; }

    /// Makes the field untyped, so that every reader refuses. What it stored stays stored.
    void Reset() noexcept { type = NoType; }

    /// Returns "DesktopBusField=[type={type name}({type code}); value={value}]", for logs. Texts are quoted
    /// but not escaped, a byte is printed as the character of its code, containers print the list of their
    /// fields.
    [[nodiscard]] String ToString() const;

    /// Returns "[" + "{field}" for each field, without separators, + "]".
    [[nodiscard]] static String ToString(std::span<const DesktopBusField> fields);

private:
    using Value = std::variant<std::uint8_t, bool, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t,
                               std::int64_t, std::uint64_t, double, String, Fields>;

    template <typename Content>
    void Set(std::int32_t newType, Content&& content)
    {
        type = newType;
        value.emplace<std::remove_cvref_t<Content>>(std::forward<Content>(content));
    }

    template <typename Content>
    [[nodiscard]] const Content* Peek(std::int32_t expectedType) const noexcept
    {
        return type == expectedType ? std::get_if<Content>(&value) : nullptr;
    }

    template <typename Content>
    [[nodiscard]] bool TryGet(std::int32_t expectedType, Content& content) const
    {
        const auto* stored = Peek<Content>(expectedType);
        if (stored == nullptr)
        {
            return false;
        }
        // Copied first: `content` may be the list that holds this field.
        content = Content(*stored);
        return true;
    }

    template <typename Content>
    [[nodiscard]] Content GetOrZero(std::int32_t expectedType) const
    {
        const auto* stored = Peek<Content>(expectedType);
        return stored != nullptr ? *stored : Content();
    }

    [[nodiscard]] std::pair<String, String> DescribeTypeAndValue() const;

    std::int32_t type = NoType;
    String contentSignature;
    Value value;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct DBusMessage;
struct DBusMessageIter;

namespace Zel::Tests::Support
{

/// Writes values into a message or a container of one.
class BusWriter
{
public:
    using Write = std::function<void(BusWriter& writer)>;

    explicit BusWriter(DBusMessage* message);
    ~BusWriter();
    BusWriter(const BusWriter&) = delete;
    BusWriter& operator=(const BusWriter&) = delete;

    BusWriter& Text(const String& text) { return Pointer('s', text.c_str()); }

    BusWriter& ObjectPath(const String& path) { return Pointer('o', path.c_str()); }

    BusWriter& Signature(const String& signature) { return Pointer('g', signature.c_str()); }

    BusWriter& Boolean(bool value) { return Number('b', std::uint32_t{value}); }

    BusWriter& Byte(std::uint8_t value) { return Number('y', value); }

    BusWriter& Int16(std::int16_t value) { return Number('n', value); }

    BusWriter& Uint16(std::uint16_t value) { return Number('q', value); }

    BusWriter& Int32(std::int32_t value) { return Number('i', value); }

    BusWriter& Uint32(std::uint32_t value) { return Number('u', value); }

    BusWriter& Int64(std::int64_t value) { return Number('x', value); }

    BusWriter& Uint64(std::uint64_t value) { return Number('t', value); }

    BusWriter& Double(double value) { return Number('d', value); }

    /// A duplicate of the descriptor is sent.
    BusWriter& FileDescriptor(int descriptor) { return Number('h', descriptor); }

    /// \name Containers, with the signature of their content.
    ///@{
    BusWriter& Array(const String& elementSignature, const Write& elements);
    BusWriter& Struct(const Write& members);
    BusWriter& Variant(const String& signature, const Write& content);

    /// One entry of a dictionary of signature "a{sv}".
    BusWriter& Entry(const String& key, const String& signature, const Write& content);
    BusWriter& TextEntry(const String& key, const String& text);
    ///@}

private:
    explicit BusWriter(std::unique_ptr<DBusMessageIter> iter);

    template <typename Value>
    BusWriter& Number(int type, Value value)
    {
        return Basic(type, &value);
    }

    BusWriter& Pointer(int type, const char* text) { return Basic(type, &text); }

    BusWriter& Basic(int type, const void* value);
    BusWriter& Container(int type, const char* signature, const Write& content);

    std::unique_ptr<DBusMessageIter> iter;
};

/// A libdbus message of a test, counted by its reference.
class BusMessage
{
public:
    /// Adopts the caller's reference.
    explicit BusMessage(DBusMessage* message);

    /// Takes a reference of its own.
    [[nodiscard]] static BusMessage Sharing(DBusMessage* message);

    [[nodiscard]] static BusMessage MethodCall(const String& destination, const String& path,
                                               const String& interfaceName, const String& member);
    [[nodiscard]] static BusMessage Signal(const String& path, const String& interfaceName,
                                           const String& member);
    /// Answers of this message.
    [[nodiscard]] BusMessage Return() const;
    [[nodiscard]] BusMessage Error(const String& name, const String& text) const;

    /// Answers to no call of anybody, for reading what is in them.
    [[nodiscard]] static BusMessage LooseReturn();
    [[nodiscard]] static BusMessage LooseError(const String& name, const String& text);

    /// Appends arguments.
    BusMessage&& With(const BusWriter::Write& write) &&;

    [[nodiscard]] DBusMessage* Get() const noexcept { return message.get(); }

    /// Returns the message with a reference for the caller.
    [[nodiscard]] DBusMessage* Share() const;

    [[nodiscard]] bool IsMethodCall() const;
    [[nodiscard]] String GetMember() const;
    [[nodiscard]] String GetSignature() const;

    /// Returns the arguments as text: a string as it is, and [..] for an array, (..) for a struct,
    /// {key=value} for a dict entry, numbers in decimal, booleans as true and false, a variant as its
    /// content.
    [[nodiscard]] std::vector<String> GetArguments() const;

private:
    std::shared_ptr<DBusMessage> message;
};

} // namespace Zel::Tests::Support

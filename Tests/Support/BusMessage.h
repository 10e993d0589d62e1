#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <dbus/dbus.h>
#include <functional>
#include <memory>
#include <vector>

namespace Zel::Tests::Support
{

/// Writes values into a message or a container of one.
class BusWriter
{
public:
    using Write = std::function<void(BusWriter& writer)>;

    explicit BusWriter(DBusMessage* message) { dbus_message_iter_init_append(message, &iter); }

    BusWriter(const BusWriter&) = delete;
    BusWriter& operator=(const BusWriter&) = delete;

    BusWriter& Text(const String& text) { return Value('s', text.c_str()); }

    BusWriter& ObjectPath(const String& path) { return Value('o', path.c_str()); }

    BusWriter& Signature(const String& signature) { return Value('g', signature.c_str()); }

    BusWriter& Boolean(bool value) { return Value('b', std::uint32_t{value}); }

    BusWriter& Byte(std::uint8_t value) { return Value('y', value); }

    BusWriter& Int16(std::int16_t value) { return Value('n', value); }

    BusWriter& Uint16(std::uint16_t value) { return Value('q', value); }

    BusWriter& Int32(std::int32_t value) { return Value('i', value); }

    BusWriter& Uint32(std::uint32_t value) { return Value('u', value); }

    BusWriter& Int64(std::int64_t value) { return Value('x', value); }

    BusWriter& Uint64(std::uint64_t value) { return Value('t', value); }

    BusWriter& Double(double value) { return Value('d', value); }

    /// A duplicate of the descriptor is sent.
    BusWriter& FileDescriptor(int descriptor) { return Value('h', descriptor); }

    /// \name Containers, with the signature of their content.
    ///@{
    BusWriter& Array(const String& elements, const Write& w) { return Container('a', elements.c_str(), w); }

    BusWriter& Struct(const Write& members) { return Container('r', nullptr, members); }

    BusWriter& Variant(const String& content, const Write& w) { return Container('v', content.c_str(), w); }

    /// One entry of a dictionary of signature "a{sv}".
    BusWriter& Entry(const String& key, const String& signature, const Write& content);
    BusWriter& TextEntry(const String& key, const String& text);
    ///@}

private:
    BusWriter() = default;

    template <typename Content>
    BusWriter& Value(int type, Content value)
    {
        return Basic(type, &value);
    }

    BusWriter& Basic(int type, const void* value);
    BusWriter& Container(int type, const char* signature, const Write& content);

    DBusMessageIter iter{};
};

/// A libdbus message of a test, counted by its reference.
class BusMessage
{
public:
    /// Adopts the caller's reference.
    explicit BusMessage(DBusMessage* message);

    [[nodiscard]] static BusMessage MethodCall(const String& destination, const String& path,
                                               const String& interfaceName, const String& member);

    [[nodiscard]] static BusMessage Signal(const String& path, const String& interfaceName,
                                           const String& member)
    {
        return BusMessage(dbus_message_new_signal(path.c_str(), interfaceName.c_str(), member.c_str()));
    }

    /// \name Answers of this message.
    ///@{
    [[nodiscard]] BusMessage Return() const { return BusMessage(dbus_message_new_method_return(Get())); }

    [[nodiscard]] BusMessage Error(const String& name, const String& text) const
    {
        return BusMessage(dbus_message_new_error(Get(), name.c_str(), text.c_str()));
    }

    ///@}

    /// \name Answers to no call of anybody, for reading what is in them.
    ///@{
    [[nodiscard]] static BusMessage LooseReturn();
    [[nodiscard]] static BusMessage LooseError(const String& name, const String& text);
    ///@}

    /// Appends arguments.
    BusMessage&& With(const BusWriter::Write& write) &&;

    [[nodiscard]] DBusMessage* Get() const noexcept { return message.get(); }

    /// Returns the message with a reference for the caller.
    [[nodiscard]] DBusMessage* Share() const { return dbus_message_ref(Get()); }

    /// Of a method call.
    [[nodiscard]] String GetMember() const { return dbus_message_get_member(Get()); }

    [[nodiscard]] String GetSignature() const { return dbus_message_get_signature(Get()); }

    /// Returns the arguments as text: a string as it is, and [..] for an array, (..) for a struct,
    /// {key=value} for a dict entry, booleans as true and false, 32-bit numbers in decimal, a variant as its
    /// content.
    [[nodiscard]] std::vector<String> GetArguments() const;

private:
    std::shared_ptr<DBusMessage> message;
};

} // namespace Zel::Tests::Support

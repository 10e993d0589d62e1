#include "Support/BusMessage.h"

#include "Zel/Exception.h"

#include <dbus/dbus.h>

#include <utility>

namespace Zel::Tests::Support
{

namespace
{

String ToText(DBusMessageIter* iter);

std::vector<String> ToTexts(DBusMessageIter* iter)
{
    std::vector<String> texts;
    while (dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_INVALID)
    {
        texts.push_back(ToText(iter));
        dbus_message_iter_next(iter);
    }
    return texts;
}

std::vector<String> ContentTexts(DBusMessageIter* iter)
{
    DBusMessageIter content{};
    dbus_message_iter_recurse(iter, &content);
    return ToTexts(&content);
}

String ToText(DBusMessageIter* iter)
{
    DBusBasicValue value{};
    switch (dbus_message_iter_get_arg_type(iter))
    {
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_OBJECT_PATH:
    case DBUS_TYPE_SIGNATURE:
        dbus_message_iter_get_basic(iter, &value);
        return value.str;
    case DBUS_TYPE_BOOLEAN:
        dbus_message_iter_get_basic(iter, &value);
        return value.bool_val ? "true" : "false";
    case DBUS_TYPE_INT32:
        dbus_message_iter_get_basic(iter, &value);
        return std::to_string(value.i32);
    case DBUS_TYPE_UINT32:
        dbus_message_iter_get_basic(iter, &value);
        return std::to_string(value.u32);
    case DBUS_TYPE_ARRAY:
        return "[" + Join(ContentTexts(iter), ", ") + "]";
    case DBUS_TYPE_STRUCT:
        return "(" + Join(ContentTexts(iter), ", ") + ")";
    case DBUS_TYPE_DICT_ENTRY:
        return "{" + Join(ContentTexts(iter), "=") + "}";
    case DBUS_TYPE_VARIANT:
        return Join(ContentTexts(iter), "");
    default:
        return "?";
    }
}

String OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

BusWriter::BusWriter(DBusMessage* message) : iter(std::make_unique<DBusMessageIter>())
{
    dbus_message_iter_init_append(message, iter.get());
}

BusWriter::BusWriter(std::unique_ptr<DBusMessageIter> iter) : iter(std::move(iter)) {}

BusWriter::~BusWriter() = default;

BusWriter& BusWriter::Basic(int type, const void* value)
{
    if (!dbus_message_iter_append_basic(iter.get(), type, value))
    {
        throw Exception("Failed to write a value into a message");
    }
    return *this;
}

BusWriter& BusWriter::Text(const String& text)
{
    const char* value = text.c_str();
    return Basic(DBUS_TYPE_STRING, &value);
}

BusWriter& BusWriter::Boolean(bool value)
{
    const dbus_bool_t content = value ? TRUE : FALSE;
    return Basic(DBUS_TYPE_BOOLEAN, &content);
}

BusWriter& BusWriter::Byte(std::uint8_t value)
{
    return Basic(DBUS_TYPE_BYTE, &value);
}

BusWriter& BusWriter::Int16(std::int16_t value)
{
    return Basic(DBUS_TYPE_INT16, &value);
}

BusWriter& BusWriter::Uint16(std::uint16_t value)
{
    return Basic(DBUS_TYPE_UINT16, &value);
}

BusWriter& BusWriter::Int32(std::int32_t value)
{
    return Basic(DBUS_TYPE_INT32, &value);
}

BusWriter& BusWriter::Uint32(std::uint32_t value)
{
    return Basic(DBUS_TYPE_UINT32, &value);
}

BusWriter& BusWriter::Int64(std::int64_t value)
{
    return Basic(DBUS_TYPE_INT64, &value);
}

BusWriter& BusWriter::Uint64(std::uint64_t value)
{
    return Basic(DBUS_TYPE_UINT64, &value);
}

BusWriter& BusWriter::Double(double value)
{
    return Basic(DBUS_TYPE_DOUBLE, &value);
}

BusWriter& BusWriter::ObjectPath(const String& path)
{
    const char* value = path.c_str();
    return Basic(DBUS_TYPE_OBJECT_PATH, &value);
}

BusWriter& BusWriter::Signature(const String& signature)
{
    const char* value = signature.c_str();
    return Basic(DBUS_TYPE_SIGNATURE, &value);
}

BusWriter& BusWriter::FileDescriptor(int descriptor)
{
    return Basic(DBUS_TYPE_UNIX_FD, &descriptor);
}

BusWriter& BusWriter::Container(int type, const char* signature, const Write& content)
{
    BusWriter writer(std::make_unique<DBusMessageIter>());
    if (!dbus_message_iter_open_container(iter.get(), type, signature, writer.iter.get()))
    {
        throw Exception("Failed to open a container in a message");
    }
    content(writer);
    if (!dbus_message_iter_close_container(iter.get(), writer.iter.get()))
    {
        throw Exception("Failed to close a container in a message");
    }
    return *this;
}

BusWriter& BusWriter::Array(const String& elementSignature, const Write& elements)
{
    return Container(DBUS_TYPE_ARRAY, elementSignature.c_str(), elements);
}

BusWriter& BusWriter::Struct(const Write& members)
{
    return Container(DBUS_TYPE_STRUCT, nullptr, members);
}

BusWriter& BusWriter::Variant(const String& signature, const Write& content)
{
    return Container(DBUS_TYPE_VARIANT, signature.c_str(), content);
}

BusWriter& BusWriter::Entry(const String& key, const String& signature, const Write& content)
{
    return Container(DBUS_TYPE_DICT_ENTRY, nullptr,
                     [&](BusWriter& entry) { entry.Text(key).Variant(signature, content); });
}

BusMessage::BusMessage(DBusMessage* message)
    : message(message, [](DBusMessage* owned) { dbus_message_unref(owned); })
{
    if (message == nullptr)
    {
        throw Exception("Failed to make a message");
    }
}

BusMessage BusMessage::Sharing(DBusMessage* message)
{
    return BusMessage(message != nullptr ? dbus_message_ref(message) : nullptr);
}

BusMessage BusMessage::MethodCall(const String& destination, const String& path, const String& interfaceName,
                                  const String& member)
{
    return BusMessage(dbus_message_new_method_call(destination.c_str(), path.c_str(), interfaceName.c_str(),
                                                   member.c_str()));
}

BusMessage BusMessage::Signal(const String& path, const String& interfaceName, const String& member)
{
    return BusMessage(dbus_message_new_signal(path.c_str(), interfaceName.c_str(), member.c_str()));
}

BusMessage BusMessage::Return() const
{
    return BusMessage(dbus_message_new_method_return(message.get()));
}

BusMessage BusMessage::Error(const String& name, const String& text) const
{
    return BusMessage(dbus_message_new_error(message.get(), name.c_str(), text.c_str()));
}

BusMessage BusMessage::LooseReturn()
{
    return BusMessage(dbus_message_new(DBUS_MESSAGE_TYPE_METHOD_RETURN));
}

BusMessage BusMessage::LooseError(const String& name, const String& text)
{
    BusMessage error(dbus_message_new(DBUS_MESSAGE_TYPE_ERROR));
    dbus_message_set_error_name(error.Get(), name.c_str());
    return std::move(error).With([&text](BusWriter& writer) { writer.Text(text); });
}

BusMessage&& BusMessage::With(const BusWriter::Write& write) &&
{
    BusWriter writer(message.get());
    write(writer);
    return std::move(*this);
}

DBusMessage* BusMessage::Share() const
{
    return dbus_message_ref(message.get());
}

bool BusMessage::IsMethodCall() const
{
    return dbus_message_get_type(message.get()) == DBUS_MESSAGE_TYPE_METHOD_CALL;
}

String BusMessage::GetInterface() const
{
    return OrEmpty(dbus_message_get_interface(message.get()));
}

String BusMessage::GetMember() const
{
    return OrEmpty(dbus_message_get_member(message.get()));
}

String BusMessage::GetSignature() const
{
    return OrEmpty(dbus_message_get_signature(message.get()));
}

std::vector<String> BusMessage::GetArguments() const
{
    DBusMessageIter iter{};
    return dbus_message_iter_init(message.get(), &iter) ? ToTexts(&iter) : std::vector<String>();
}

} // namespace Zel::Tests::Support

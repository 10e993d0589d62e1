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
    for (; dbus_message_iter_get_arg_type(iter) != DBUS_TYPE_INVALID; dbus_message_iter_next(iter))
    {
        texts.push_back(ToText(iter));
    }
    return texts;
}

String ContentText(DBusMessageIter* iter, const String& begin, const String& separator, const String& end)
{
    DBusMessageIter content{};
    dbus_message_iter_recurse(iter, &content);
    return begin + Join(ToTexts(&content), separator) + end;
}

DBusBasicValue BasicValue(DBusMessageIter* iter)
{
    DBusBasicValue value{};
    dbus_message_iter_get_basic(iter, &value);
    return value;
}

String ToText(DBusMessageIter* iter)
{
    switch (dbus_message_iter_get_arg_type(iter))
    {
    case DBUS_TYPE_STRING:
        return BasicValue(iter).str;
    case DBUS_TYPE_BOOLEAN:
        return BasicValue(iter).bool_val ? "true" : "false";
    case DBUS_TYPE_INT32:
        return std::to_string(BasicValue(iter).i32);
    case DBUS_TYPE_ARRAY:
        return ContentText(iter, "[", ", ", "]");
    case DBUS_TYPE_STRUCT:
        return ContentText(iter, "(", ", ", ")");
    case DBUS_TYPE_DICT_ENTRY:
        return ContentText(iter, "{", "=", "}");
    case DBUS_TYPE_VARIANT:
        return ContentText(iter, "", "", "");
    default:
        return "?";
    }
}

String OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

void Require(bool succeeded)
{
    if (!succeeded)
    {
        throw Exception("Failed to make or write a message");
    }
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
    Require(dbus_message_iter_append_basic(iter.get(), type, value));
    return *this;
}

BusWriter& BusWriter::Container(int type, const char* signature, const Write& content)
{
    BusWriter writer(std::make_unique<DBusMessageIter>());
    Require(dbus_message_iter_open_container(iter.get(), type, signature, writer.iter.get()));
    content(writer);
    Require(dbus_message_iter_close_container(iter.get(), writer.iter.get()));
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

BusWriter& BusWriter::TextEntry(const String& key, const String& text)
{
    return Entry(key, "s", [&text](BusWriter& writer) { writer.Text(text); });
}

BusMessage::BusMessage(DBusMessage* message)
    : message(message, [](DBusMessage* owned) { dbus_message_unref(owned); })
{
    Require(message != nullptr);
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

#include "Support/BusMessage.h"

#include "Zel/Exception.h"

#include <array>
#include <map>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

String ToText(DBusMessageIter& iter);

std::vector<String> ToTexts(DBusMessageIter& iter)
{
    std::vector<String> texts;
    for (; dbus_message_iter_get_arg_type(&iter) != DBUS_TYPE_INVALID; dbus_message_iter_next(&iter))
    {
        texts.push_back(ToText(iter));
    }
    return texts;
}

String ToText(DBusMessageIter& iter)
{
    static const std::map<int, std::array<const char*, 3>> Marks = {
        {'a', {"[", ", ", "]"}}, {'r', {"(", ", ", ")"}}, {'e', {"{", "=", "}"}}, {'v', {"", "", ""}}};
    const int type = dbus_message_iter_get_arg_type(&iter);
    if (const auto marks = Marks.find(type); marks != Marks.end())
    {
        DBusMessageIter content{};
        dbus_message_iter_recurse(&iter, &content);
        return marks->second[0] + Join(ToTexts(content), marks->second[1]) + marks->second[2];
    }
    DBusBasicValue value{};
    dbus_message_iter_get_basic(&iter, &value);
    const String number = type == 't' ? std::to_string(value.u64) : std::to_string(value.i32);
    return type == 's' ? String(value.str) : type == 'b' ? (value.bool_val ? "true" : "false") : number;
}

void Require(bool succeeded)
{
    if (!succeeded)
    {
        throw Exception("Failed to make or write a message");
    }
}

} // namespace

BusWriter& BusWriter::Basic(int type, const void* value)
{
    Require(dbus_message_iter_append_basic(&iter, type, value));
    return *this;
}

BusWriter& BusWriter::Container(int type, const char* signature, const Write& content)
{
    BusWriter writer;
    Require(dbus_message_iter_open_container(&iter, type, signature, &writer.iter));
    content(writer);
    Require(dbus_message_iter_close_container(&iter, &writer.iter));
    return *this;
}

BusWriter& BusWriter::Entry(const String& key, const String& signature, const Write& content)
{
    return Container('e', nullptr, [&](BusWriter& entry) { entry.Text(key).Variant(signature, content); });
}

BusWriter& BusWriter::TextEntry(const String& key, const String& text)
{
    return Entry(key, "s", [&text](BusWriter& writer) { writer.Text(text); });
}

BusMessage::BusMessage(DBusMessage* message) : message(message, &dbus_message_unref)
{
    Require(message != nullptr);
}

BusMessage BusMessage::MethodCall(const String& destination, const String& path, const String& interfaceName,
                                  const String& member)
{
    return BusMessage(dbus_message_new_method_call(destination.c_str(), path.c_str(), interfaceName.c_str(),
                                                   member.c_str()));
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
    BusWriter writer(Get());
    write(writer);
    return std::move(*this);
}

std::vector<String> BusMessage::GetArguments() const
{
    DBusMessageIter iter{};
    return dbus_message_iter_init(Get(), &iter) ? ToTexts(iter) : std::vector<String>();
}

} // namespace Zel::Tests::Support

#include "Zel/System/Commons/Xml/XmlWriter.h"

#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

#include <cctype>

namespace Zel::System::Commons::Xml
{

namespace
{

[[nodiscard]] bool IsNameCharacter(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 0x80 || std::isalnum(byte) != 0 || character == '_' || character == ':' ||
           character == '-' || character == '.';
}

void CheckName(const String& name)
{
    bool valid = !name.empty() && name[0] != '-' && name[0] != '.' &&
                 std::isdigit(static_cast<unsigned char>(name[0])) == 0;
    for (const char character : name)
    {
        valid = valid && IsNameCharacter(character);
    }
    if (!valid)
    {
        throw XmlException(Core::Format("Invalid XML name '{0}'", name));
    }
}

/// White space that readers would turn into spaces or line ends is written as character references.
[[nodiscard]] String Escape(const String& text)
{
    String escaped;
    for (const char character : text)
    {
        switch (character)
        {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\t':
            escaped += "&#9;";
            break;
        case '\n':
            escaped += "&#10;";
            break;
        case '\r':
            escaped += "&#13;";
            break;
        default:
            if (static_cast<unsigned char>(character) < 0x20)
            {
                throw XmlException("Control characters cannot be written to XML");
            }
            escaped += character;
            break;
        }
    }
    return escaped;
}

} // namespace

void XmlWriter::WriteStartElement(const String& name)
{
    CheckName(name);
    CloseStartTag();
    document += "<" + name;
    openElements.push_back(name);
    startTagOpen = true;
}

void XmlWriter::WriteAttribute(const String& name, const String& value)
{
    CheckName(name);
    if (!startTagOpen)
    {
        throw XmlException(Core::Format("Attribute '{0}' does not follow a start of an element", name));
    }
    document += " " + name + "=\"" + Escape(value) + "\"";
}

void XmlWriter::WriteElementContent(const String& text)
{
    if (openElements.empty())
    {
        throw XmlException("Text does not follow a start of an element");
    }
    const String escaped = Escape(text);
    CloseStartTag();
    document += escaped;
}

void XmlWriter::WriteEndElement()
{
    if (openElements.empty())
    {
        throw XmlException("No element is open");
    }
    if (startTagOpen)
    {
        document += "/>";
        startTagOpen = false;
    }
    else
    {
        document += "</" + openElements.back() + ">";
    }
    openElements.pop_back();
}

const String& XmlWriter::GetDocument() const noexcept
{
    return document;
}

void XmlWriter::CloseStartTag()
{
    if (startTagOpen)
    {
        document += ">";
        startTagOpen = false;
    }
}

} // namespace Zel::System::Commons::Xml

#include "Zel/System/Commons/Xml/XmlConfigDocument.h"

#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/Xml/XmlSerializationContext.h"
#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

#include <optional>
#include <utility>

namespace Zel::System::Commons::Xml
{

using Core::Format;
using Diagnostics::Logging::LogLevel;

namespace
{

void ReadDocument(XmlReader& reader, const String& rootElementName, IXmlSerializable& content)
{
    String name;
    if (!reader.TryReadStartElement(name, true) || name != rootElementName)
    {
        throw XmlException(Format("{0}:{1}: the root element is '{2}' instead of '{3}'", reader.GetFileName(),
                                  reader.GetLine(), name, rootElementName));
    }
    XmlSerializationContext context(reader.GetFileName());
    content.ReadXml(reader, context);
    reader.ReadEndElement();
    reader.ReadEndDocument();
}

} // namespace

XmlConfigDocument::XmlConfigDocument(String rootElementName, IXmlSerializable& content)
    : rootElementName(std::move(rootElementName)), content(content)
{
}

void XmlConfigDocument::Load(const String& path)
{
    std::optional<XmlReader> reader;
    try
    {
        reader.emplace(Io::File::ReadAllText(path, XmlReader::MaximumSize), path);
        ReadDocument(*reader, rootElementName, content);
    }
    catch (...)
    {
        const String line = reader ? Format(", line {0}", reader->GetLine()) : String();
        Log(LogLevel::Error, "Failed to load document '{0}'{1}: {2}", path, line, DescribeCurrentException());
        throw;
    }
}

} // namespace Zel::System::Commons::Xml

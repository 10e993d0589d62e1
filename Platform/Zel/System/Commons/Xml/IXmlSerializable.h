#pragma once

#include "Zel/Visibility.h"

namespace Zel::System::Commons::Xml
{

class XmlReader;
class XmlWriter;
class XmlSerializationContext;

/// An object that reads itself from, and writes itself to, the inside of a document's root element.
class ZEL_API IXmlSerializable
{
public:
    virtual ~IXmlSerializable();

    /// Called with the reader inside the root element; returns when there is no further child element.
    virtual void ReadXml(XmlReader& reader, XmlSerializationContext& context) = 0;

    /// Called with the root element open.
    virtual void WriteXml(XmlWriter& writer, XmlSerializationContext& context) = 0;

protected:
    IXmlSerializable() = default;
    IXmlSerializable(const IXmlSerializable&) = default;
    IXmlSerializable& operator=(const IXmlSerializable&) = default;
};

} // namespace Zel::System::Commons::Xml

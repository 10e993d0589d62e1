#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Xml/IXmlSerializable.h"
#include "Zel/Visibility.h"

namespace Zel::System::Commons::Xml
{

/// A settings document: a file with a known root element whose inside one object reads.
class ZEL_API XmlConfigDocument : private Diagnostics::Logging::Loggable<XmlConfigDocument>
{
public:
    /// `content` is filled by `Load` and must outlive the document.
    XmlConfigDocument(String rootElementName, IXmlSerializable& content);

    /// Reads the file at `path` into the content. Throws `IoException` when it cannot be read, `XmlException`
    /// for another root element or for what `XmlReader` refuses; every exception of the content passes
    /// unchanged. In each of these cases file and line are logged at error level. A content that threw may be
    /// partly filled.
    void Load(const String& path);

private:
    String rootElementName;
    IXmlSerializable& content;
};

} // namespace Zel::System::Commons::Xml

#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/Visibility.h"

namespace Zel::System::Commons::Xml
{

class XmlReader;

/// What an object that reads itself from a document may ask about the document, and report about its shape.
class ZEL_API XmlSerializationContext : private Diagnostics::Logging::Loggable<XmlSerializationContext>
{
public:
    /// `fileName` is the document's path; relative paths in it are relative to its folder.
    explicit XmlSerializationContext(String fileName);

    /// A required element is not there: throws `XmlException` with file, line and the element's name.
    [[noreturn]] void MissingXmlElementOccurs(const XmlReader& reader, const char* name) const;
    [[noreturn]] void MissingXmlElementOccurs(const XmlReader& reader, const String& name) const;

    /// An element is not known: logs a warning with file, line and the element's name, and returns.
    void InvalidXmlElementOccurs(const XmlReader& reader, const char* name) const;
    void InvalidXmlElementOccurs(const XmlReader& reader, const String& name) const;

    /// Returns `path` with every "${NAME}" replaced by that path variable of `Singleton<AppDomain>` and made
    /// absolute: a relative path is taken from the document's folder. Throws `XmlException` that names a
    /// variable which is not defined, or a "${" without its "}".
    [[nodiscard]] String ResolvePath(const char* path) const;
    [[nodiscard]] String ResolvePath(const String& path) const;

private:
    String fileName;
};

} // namespace Zel::System::Commons::Xml

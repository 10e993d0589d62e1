#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <vector>

namespace Zel::System::Commons::Xml
{

/// Writes a document into a text, markup in values escaped.
class ZEL_API XmlWriter
{
public:
    void WriteStartElement(const String& name);

    /// Only directly after `WriteStartElement` or another attribute; throws `XmlException` elsewhere.
    void WriteAttribute(const String& name, const String& value);
    void WriteElementContent(const String& text);

    /// Closes the element opened last; throws `XmlException` when none is open.
    void WriteEndElement();

    /// Returns what was written so far.
    [[nodiscard]] const String& GetDocument() const noexcept;

private:
    void CloseStartTag();

    String document;
    std::vector<String> openElements;
    bool startTagOpen = false;
};

} // namespace Zel::System::Commons::Xml

#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <cstddef>
#include <memory>

namespace Zel::System::Commons::Xml
{

/// Reads a document forward, element by element, over a parser that is suspended in between.
/// Refused with `XmlException` that carries file and line ("{file}:{line}: {reason}"): what is not well
/// formed, a DOCTYPE, more than `MaximumDepth` open elements, a document of more than `MaximumSize` bytes.
/// Not thread-safe.
class ZEL_API XmlReader
{
public:
    static constexpr std::size_t MaximumDepth = 64;
    static constexpr std::size_t MaximumSize = std::size_t{4} * 1024 * 1024;

    /// Reads `document`; `fileName` is used in messages only.
    XmlReader(String document, String fileName);
    ~XmlReader();
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    /// Moves to the next child of the current element and enters it. Returns false, and leaves `name` alone,
    /// when the current element has no further child. Text between the elements is skipped when `skipText` is
    /// set; otherwise text other than white space throws `XmlException`.
    [[nodiscard]] bool TryReadStartElement(String& name, bool skipText);

    /// Returns the current element's text, entities replaced, up to its end tag, which stays to be read by
    /// `ReadEndElement`. Throws `XmlException` when a child element is met.
    [[nodiscard]] String ReadElementContent();

    /// Skips the rest of the current element, children included, up to its end tag.
    void SkipElementContent();

    /// Leaves the current element; throws `XmlException` unless its end tag is next.
    void ReadEndElement();

    /// Reads an attribute of the current element. Returns whether it is there; `value` is written only then.
    /// For `bool` the rule is that of `XmlConvert::ToBoolean`; for `String` the text as it is.
    template <typename Value>
    [[nodiscard]] bool TryGetAttributeValue(const char* name, Value& value) const;

    /// Reads to the end of the document and throws `XmlException` where something but white space and
    /// comments follows.
    void ReadEndDocument();

    [[nodiscard]] const String& GetFileName() const noexcept;

    /// The line, counted from 1, of what was read last.
    [[nodiscard]] std::size_t GetLine() const noexcept;

private:
    struct Parser;
    std::unique_ptr<Parser> parser;
};

template <>
ZEL_API bool XmlReader::TryGetAttributeValue<bool>(const char* name, bool& value) const;
template <>
ZEL_API bool XmlReader::TryGetAttributeValue<String>(const char* name, String& value) const;

} // namespace Zel::System::Commons::Xml

#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

namespace Zel::System::Commons::Xml
{

/// Values in the texts of documents.
class ZEL_API XmlConvert
{
public:
    /// Reads "true" and "false" in any letter case, and otherwise what `boost::lexical_cast<bool>` takes: 1
    /// and 0, with leading zeros, "+", and "-" before a zero value. Throws `boost::bad_lexical_cast` for any
    /// other text.
    [[nodiscard]] static bool ToBoolean(const String& text);
};

} // namespace Zel::System::Commons::Xml

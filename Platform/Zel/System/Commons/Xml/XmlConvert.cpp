#include "Zel/System/Commons/Xml/XmlConvert.h"

#include <boost/lexical_cast.hpp>

namespace Zel::System::Commons::Xml
{

bool XmlConvert::ToBoolean(const String& text)
{
    const String lowered = ToLower(text);
    if (lowered == "true")
    {
        return true;
    }
    if (lowered == "false")
    {
        return false;
    }
    return boost::lexical_cast<bool>(lowered);
}

} // namespace Zel::System::Commons::Xml

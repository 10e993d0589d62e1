#include "Zel/System/Commons/Xml/XmlSerializationContext.h"

#include "Zel/AppDomain.h"
#include "Zel/Singleton.h"
#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

#include <filesystem>
#include <utility>

namespace Zel::System::Commons::Xml
{

using Core::Format;
using Diagnostics::Logging::LogLevel;

namespace
{

[[nodiscard]] String GetVariable(const String& name, const String& fileName)
{
    const AppDomain* const domain = Singleton<AppDomain>::TryGetInstance();
    String value;
    if (domain == nullptr || !domain->TryGetPathVariable(name, value))
    {
        throw XmlException(Format("{0}: unknown path variable '{1}'", fileName, name));
    }
    return value;
}

/// A variable's value is taken as it is: what looks like a variable in it stays.
[[nodiscard]] String ExpandVariables(const String& path, const String& fileName)
{
    String expanded;
    std::size_t position = 0;
    for (std::size_t begin = path.find("${"); begin != String::npos; begin = path.find("${", position))
    {
        const std::size_t end = path.find('}', begin);
        if (end == String::npos)
        {
            throw XmlException(Format("{0}: path variable without an end in '{1}'", fileName, path));
        }
        expanded += path.substr(position, begin - position);
        expanded += GetVariable(path.substr(begin + 2, end - begin - 2), fileName);
        position = end + 1;
    }
    return expanded + path.substr(position);
}

} // namespace

XmlSerializationContext::XmlSerializationContext(String fileName) : fileName(std::move(fileName)) {}

void XmlSerializationContext::MissingXmlElementOccurs(const XmlReader& reader, const String& name) const
{
    throw XmlException(Format("{0}:{1}: missing element '{2}'", fileName, reader.GetLine(), name));
}

void XmlSerializationContext::MissingXmlElementOccurs(const XmlReader& reader, const char* name) const
{
    MissingXmlElementOccurs(reader, String(name));
}

void XmlSerializationContext::InvalidXmlElementOccurs(const XmlReader& reader, const String& name) const
{
    Log(LogLevel::Warning, "{0}:{1}: unknown element '{2}' is skipped", fileName, reader.GetLine(), name);
}

void XmlSerializationContext::InvalidXmlElementOccurs(const XmlReader& reader, const char* name) const
{
    InvalidXmlElementOccurs(reader, String(name));
}

String XmlSerializationContext::ResolvePath(const String& path) const
{
    const String expanded = ExpandVariables(path, fileName);
    if (expanded.empty())
    {
        throw XmlException(Format("{0}: a path is empty", fileName));
    }
    const auto folder = std::filesystem::absolute(fileName).parent_path();
    return (folder / expanded).string();
}

String XmlSerializationContext::ResolvePath(const char* path) const
{
    return ResolvePath(String(path));
}

} // namespace Zel::System::Commons::Xml

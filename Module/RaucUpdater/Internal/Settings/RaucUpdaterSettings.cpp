#include "RaucUpdater/Internal/Settings/RaucUpdaterSettings.h"

#include "Zel/System/Commons/Xml/XmlConvert.h"
#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings
{

using System::Commons::XmlException;
using System::Commons::Xml::XmlConvert;
using System::Commons::Xml::XmlReader;
using System::Commons::Xml::XmlSerializationContext;
using System::Commons::Xml::XmlWriter;

namespace
{

bool CopyOptional(const std::optional<String>& source, String& target)
{
    target = source.value_or(String());
    return source.has_value();
}

} // namespace

bool RaucUpdaterSettings::GetManufacturer(String& target) const
{
    return CopyOptional(manufacturer, target);
}

bool RaucUpdaterSettings::GetManufacturerUri(String& target) const
{
    return CopyOptional(manufacturerUri, target);
}

bool RaucUpdaterSettings::GetChangeLogReference(String& target) const
{
    return CopyOptional(changeLogReference, target);
}

void RaucUpdaterSettings::ReadXml(XmlReader& reader, XmlSerializationContext& context)
{
    bool pathSeen = false;
    String name;
    while (reader.TryReadStartElement(name, true))
    {
        ReadElement(name, reader, context, pathSeen);
        reader.ReadEndElement();
    }
    if (!pathSeen)
    {
        context.MissingXmlElementOccurs(reader, XmlPendingUpdatePath);
    }
}

void RaucUpdaterSettings::WriteXml(XmlWriter& /*writer*/, XmlSerializationContext& /*context*/)
{
    throw XmlException("Write operation is not supported.");
}

void RaucUpdaterSettings::ReadElement(const String& name, XmlReader& reader, XmlSerializationContext& context,
                                      bool& pathSeen)
{
    if (name == XmlPendingUpdatePath)
    {
        ReadPendingUpdatePath(reader, context);
        pathSeen = true;
    }
    else if (name == XmlManufacturer)
    {
        manufacturer = reader.ReadElementContent();
    }
    else if (name == XmlManufacturerUri)
    {
        manufacturerUri = reader.ReadElementContent();
    }
    else if (name == XmlChangeLogReference)
    {
        changeLogReference = reader.ReadElementContent();
    }
    else if (name == XmlValidateCompatible)
    {
        validateCompatible = ReadElementContentBool(reader);
    }
    else if (name == XmlValidateBootedSlot)
    {
        static_cast<void>(reader.TryGetAttributeValue<bool>(XmlFallbackOnPrimary.c_str(), fallbackOnPrimary));
        validateBootedSlot = ReadElementContentBool(reader);
    }
    else
    {
        context.InvalidXmlElementOccurs(reader, name);
        reader.SkipElementContent();
    }
}

void RaucUpdaterSettings::ReadPendingUpdatePath(XmlReader& reader, const XmlSerializationContext& context)
{
    pendingUpdatePath = reader.ReadElementContent();
    if (pendingUpdatePath.empty())
    {
        throw XmlException(System::Core::Format("{0} must not be empty.", XmlPendingUpdatePath));
    }
    pendingUpdatePath = context.ResolvePath(pendingUpdatePath);
}

bool RaucUpdaterSettings::ReadElementContentBool(XmlReader& reader) const
{
    return XmlConvert::ToBoolean(reader.ReadElementContent());
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings

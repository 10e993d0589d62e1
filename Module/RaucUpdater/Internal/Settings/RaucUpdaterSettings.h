#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Xml/IXmlSerializable.h"
#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/Xml/XmlSerializationContext.h"
#include "Zel/System/Commons/Xml/XmlWriter.h"

#include <optional>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings
{

/// The module's settings document: root element `XmlRootElement`, its child elements in any order, the last
/// one winning where one is repeated. Filled once by `ReadXml`, afterwards read from any thread without a
/// lock. The accessors do not fail.
class RaucUpdaterSettings : public System::Commons::Xml::IXmlSerializable
{
public:
    inline static const String XmlRootElement = "RaucUpdaterSettingsDocument";
    inline static const String XmlPendingUpdatePath = "PendingUpdatePath";
    inline static const String XmlManufacturer = "Manufacturer";
    inline static const String XmlManufacturerUri = "ManufacturerUri";
    inline static const String XmlChangeLogReference = "ChangeLogReference";
    inline static const String XmlValidateCompatible = "ValidateCompatible";
    inline static const String XmlValidateBootedSlot = "ValidateBootedSlot";
    /// An attribute of `XmlValidateBootedSlot`; the lower-case initial is meant.
    inline static const String XmlFallbackOnPrimary = "fallbackOnPrimary";

    /// The file that a bundle waits in for its installation, resolved by the document's context; empty before
    /// a document was read.
    [[nodiscard]] const String& GetPendingUpdatePath() const noexcept { return pendingUpdatePath; }

    /// Returns whether the document has the element, even an empty one; `target` is always assigned,
    /// empty when it has not.
    bool GetManufacturer(String& target) const;

    /// As `GetManufacturer`.
    bool GetManufacturerUri(String& target) const;

    /// As `GetManufacturer`. The text may contain "{0}" for the device's article number.
    bool GetChangeLogReference(String& target) const;

    /// Whether a bundle for another system is refused; true unless the document says otherwise.
    [[nodiscard]] bool ValidateCompatible() const noexcept { return validateCompatible; }

    /// Whether nothing is installed while the running slot is unknown; true unless the document says
    /// otherwise.
    [[nodiscard]] bool ValidateBootedSlot() const noexcept { return validateBootedSlot; }

    /// Whether the primary slot stands in for an unknown booted one; true unless the document says otherwise.
    [[nodiscard]] bool FallbackOnPrimary() const noexcept { return fallbackOnPrimary; }

    /// Reads the inside of the root element. Throws `XmlException` for a missing or empty pending update path
    /// and for what the reader or the context refuses, `boost::bad_lexical_cast` for a text that is no
    /// boolean; elements read before that stay read.
    void ReadXml(System::Commons::Xml::XmlReader& reader,
                 System::Commons::Xml::XmlSerializationContext& context) override;

    /// Always throws `XmlException` "Write operation is not supported.".
    void WriteXml(System::Commons::Xml::XmlWriter& writer,
                  System::Commons::Xml::XmlSerializationContext& context) override;

private:
    void ReadElement(const String& name, System::Commons::Xml::XmlReader& reader,
                     System::Commons::Xml::XmlSerializationContext& context, bool& pathSeen);
    void ReadPendingUpdatePath(System::Commons::Xml::XmlReader& reader,
                               const System::Commons::Xml::XmlSerializationContext& context);
    [[nodiscard]] bool ReadElementContentBool(System::Commons::Xml::XmlReader& reader) const;

    String pendingUpdatePath;
    std::optional<String> manufacturer;
    std::optional<String> manufacturerUri;
    std::optional<String> changeLogReference;
    bool validateCompatible = true;
    bool validateBootedSlot = true;
    bool fallbackOnPrimary = true;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings

#include "RaucUpdater/Internal/Settings/RaucUpdaterSettings.h"

#include "Support/TemporaryFolder.h"
#include "Zel/System/Commons/Xml/XmlConfigDocument.h"
#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings
{
namespace
{

using System::Commons::XmlException;
using System::Commons::Xml::XmlConfigDocument;
using System::Core::Format;
using testing::HasSubstr;

class RaucUpdaterSettingsTest : public testing::Test
{
protected:
    void Load(const String& body)
    {
        const String path = folder.Write("settings.xml", "<RaucUpdaterSettingsDocument>" + body +
                                                             "</RaucUpdaterSettingsDocument>");
        XmlConfigDocument(RaucUpdaterSettings::XmlRootElement, settings).Load(path);
    }

    /// Returns "{type}: {message}" of what loading throws, "loaded" when nothing.
    String GetFailure(const String& body)
    {
        try
        {
            Load(body);
        }
        catch (const std::exception& exception)
        {
            return TypeName(typeid(exception)) + ": " + exception.what();
        }
        return "loaded";
    }

    const Tests::Support::TemporaryFolder folder;
    RaucUpdaterSettings settings;
};

TEST_F(RaucUpdaterSettingsTest, ThePathAloneLeavesSwitchesOnAndTextsAbsent)
{
    Load("<PendingUpdatePath>sub/pending.raucb</PendingUpdatePath>");

    EXPECT_EQ(settings.GetPendingUpdatePath(), folder / "sub/pending.raucb");
    EXPECT_TRUE(settings.ValidateCompatible());
    EXPECT_TRUE(settings.ValidateBootedSlot());
    EXPECT_TRUE(settings.FallbackOnPrimary());
    String text = "left over";
    EXPECT_FALSE(settings.GetManufacturer(text));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(settings.GetManufacturerUri(text));
    EXPECT_FALSE(settings.GetChangeLogReference(text));
}

TEST_F(RaucUpdaterSettingsTest, ReadsEveryElementInAnyOrderAndTheLastOfRepeatedOnes)
{
    Load("<ValidateBootedSlot fallbackOnPrimary=\"false\">FALSE</ValidateBootedSlot>"
         "<ChangeLogReference>https://corvane.example/{0}</ChangeLogReference>"
         "<ManufacturerUri>https://corvane.example</ManufacturerUri><Manufacturer/>"
         "<FallbackOnPrimary>true</FallbackOnPrimary>"
         "<PendingUpdatePath>first</PendingUpdatePath><PendingUpdatePath>/second</PendingUpdatePath>"
         "<ValidateCompatible>-0</ValidateCompatible>");

    EXPECT_EQ(settings.GetPendingUpdatePath(), "/second");
    EXPECT_FALSE(settings.ValidateCompatible());
    EXPECT_FALSE(settings.ValidateBootedSlot());
    EXPECT_FALSE(settings.FallbackOnPrimary()) << "the element of that name is unknown and skipped";
    String text = "left over";
    EXPECT_TRUE(settings.GetManufacturer(text)) << "an empty element is present";
    EXPECT_EQ(text, "");
    EXPECT_TRUE(settings.GetManufacturerUri(text));
    EXPECT_EQ(text, "https://corvane.example");
    EXPECT_TRUE(settings.GetChangeLogReference(text));
    EXPECT_EQ(text, "https://corvane.example/{0}");
}

TEST_F(RaucUpdaterSettingsTest, RefusesDocumentsThatItCannotUse)
{
    const String path = "<PendingUpdatePath>/p</PendingUpdatePath>";
    EXPECT_THAT(GetFailure("<Manufacturer>Corvane</Manufacturer>"), HasSubstr("PendingUpdatePath"));
    EXPECT_EQ(GetFailure(path + "<PendingUpdatePath></PendingUpdatePath>"),
              "Zel::System::Commons::XmlException: PendingUpdatePath must not be empty.");
    for (const String text : {"yes", "", " true", "-1"})
    {
        EXPECT_THAT(GetFailure(Format("{}<ValidateCompatible>{}</ValidateCompatible>", path, text)),
                    HasSubstr("bad_lexical_cast"))
            << text;
    }
    EXPECT_THAT(GetFailure(path + "<ValidateBootedSlot fallbackOnPrimary=\"no\">1</ValidateBootedSlot>"),
                HasSubstr("bad_lexical_cast"));
}

TEST_F(RaucUpdaterSettingsTest, RefusesToWrite)
{
    System::Commons::Xml::XmlWriter writer;
    System::Commons::Xml::XmlSerializationContext context("settings.xml");
    try
    {
        settings.WriteXml(writer, context);
        FAIL() << "nothing was thrown";
    }
    catch (const XmlException& exception)
    {
        EXPECT_EQ(exception.GetMessage(), "Write operation is not supported.");
    }
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings

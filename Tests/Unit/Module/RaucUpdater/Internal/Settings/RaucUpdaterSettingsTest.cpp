#include "RaucUpdater/Internal/Settings/RaucUpdaterSettings.h"

#include "Support/RecordingLog.h"
#include "Support/TemporaryFolder.h"
#include "Support/Thrown.h"
#include "Zel/System/Commons/Xml/XmlConfigDocument.h"

#include <gmock/gmock.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings
{

struct RaucUpdaterSettingsTest : testing::Test
{
    /// Returns what the settings say after a document with these elements, or why it is refused.
    String Load(const String& elements)
    {
        RaucUpdaterSettings settings;
        const String& root = RaucUpdaterSettings::XmlRootElement;
        const String path = folder.Write("settings.xml", "<" + root + ">" + elements + "</" + root + ">");
        System::Commons::Xml::XmlConfigDocument document(root, settings);
        if (const String thrown = Tests::Support::GetThrown([&] { document.Load(path); });
            thrown != "nothing")
        {
            return thrown;
        }
        String result = settings.GetPendingUpdatePath();
        for (const auto get :
             {&RaucUpdaterSettings::GetManufacturer, &RaucUpdaterSettings::GetManufacturerUri,
              &RaucUpdaterSettings::GetChangeLogReference})
        {
            String text = "left over";
            result += (settings.*get)(text) ? "; " + text : "; absent" + text;
        }
        return result + (settings.ValidateCompatible() ? "; compatible" : "") +
               (settings.ValidateBootedSlot() ? "; booted" : "") +
               (settings.FallbackOnPrimary() ? "; primary" : "");
    }

    const Tests::Support::TemporaryFolder folder;
    const Tests::Support::RecordingLog log;
};

TEST_F(RaucUpdaterSettingsTest, ReadsElementsInAnyOrderAndTheLastOfRepeatedOnes)
{
    EXPECT_EQ(Load("<PendingUpdatePath>sub/pending.raucb</PendingUpdatePath>"),
              folder / "sub/pending.raucb" + "; absent; absent; absent; compatible; booted; primary");
    EXPECT_EQ(
        Load("<ValidateBootedSlot fallbackOnPrimary=\"false\">FALSE</ValidateBootedSlot>"
             "<ChangeLogReference>https://corvane.example/{0}</ChangeLogReference>"
             "<ManufacturerUri>https://corvane.example</ManufacturerUri><Manufacturer/>"
             "<FallbackOnPrimary>true</FallbackOnPrimary>"
             "<PendingUpdatePath>first</PendingUpdatePath><PendingUpdatePath>/second</PendingUpdatePath>"
             "<ValidateCompatible>-0</ValidateCompatible>"),
        "/second; ; https://corvane.example; https://corvane.example/{0}");
    EXPECT_THAT(log.GetLines(),
                testing::ElementsAre("warning XmlSerializationContext: " + (folder / "settings.xml") +
                                     ":1: unknown element 'FallbackOnPrimary' is skipped"));
}

TEST_F(RaucUpdaterSettingsTest, RefusesDocumentsThatItCannotUse)
{
    using testing::HasSubstr;
    const String path = "<PendingUpdatePath>/p</PendingUpdatePath>";
    EXPECT_THAT(Load("<Manufacturer>Corvane</Manufacturer>"), HasSubstr("PendingUpdatePath"));
    EXPECT_EQ(Load(path + "<PendingUpdatePath></PendingUpdatePath>"),
              "Zel::System::Commons::XmlException: PendingUpdatePath must not be empty.");
    for (const String text : {"yes", "", " true", "-1"})
    {
        EXPECT_THAT(Load(path + "<ValidateCompatible>" + text + "</ValidateCompatible>"),
                    HasSubstr("bad lexical cast"));
        EXPECT_THAT(
            Load(path + "<ValidateBootedSlot fallbackOnPrimary=\"" + text + "\">1</ValidateBootedSlot>"),
            HasSubstr("bad lexical cast"));
    }
    RaucUpdaterSettings settings;
    System::Commons::Xml::XmlWriter writer;
    System::Commons::Xml::XmlSerializationContext context("settings.xml");
    EXPECT_THAT([&] { settings.WriteXml(writer, context); },
                testing::ThrowsMessage<Exception>(HasSubstr("Write operation is not supported.")));
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Settings

#include "Zel/System/Commons/Xml/XmlConfigDocument.h"

#include "Zel/AppDomain.h"
#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/Xml/XmlSerializationContext.h"
#include "Zel/System/Commons/XmlException.h"

#include "Support/RecordingLogSink.h"
#include "Support/TemporaryFolder.h"
#include "Unit/Platform/Thrown.h"

#include <boost/lexical_cast.hpp>
#include <gmock/gmock.h>

#include <utility>

namespace Zel::System::Commons::Xml
{

using testing::ElementsAre;
using Tests::GetThrown;

namespace
{

/// Settings with a required path, which may carry a switch.
struct Settings : IXmlSerializable
{
    void ReadXml(XmlReader& reader, XmlSerializationContext& context) override
    {
        String name;
        while (reader.TryReadStartElement(name, true))
        {
            if (name == "Path")
            {
                static_cast<void>(reader.TryGetAttributeValue("switch", enabled));
                path = context.ResolvePath(reader.ReadElementContent().c_str());
            }
            else
            {
                context.InvalidXmlElementOccurs(reader, name);
                reader.SkipElementContent();
            }
            reader.ReadEndElement();
        }
        if (path.empty())
        {
            context.MissingXmlElementOccurs(reader, "Path");
        }
    }

    void WriteXml(XmlWriter& /*writer*/, XmlSerializationContext& /*context*/) override {}

    String path;
    bool enabled = false;
};

struct XmlConfigDocumentTest : testing::Test
{
    void Load(const String& content)
    {
        folder.Write("settings.xml", content);
        XmlConfigDocument("Settings", settings).Load(file);
    }

    const Tests::Support::TemporaryFolder folder;
    const String file = folder / "settings.xml";
    const Tests::Support::RecordingLog log;
    Settings settings;
};

} // namespace

TEST_F(XmlConfigDocumentTest, LoadFillsTheContentAndWarnsOfUnknownElements)
{
    Load("<Settings xmlns:x='y'>\n<Path switch='1'>pending/bundle</Path>\n<!-- -->\n"
         "<Future kind='a'><Path>other</Path></Future>\n</Settings>\n");
    EXPECT_EQ(settings.path, folder / "pending/bundle");
    EXPECT_TRUE(settings.enabled);
    EXPECT_THAT(log->GetLines(), ElementsAre("warning XmlSerializationContext: " + file +
                                             ":4: unknown element 'Future' is skipped"));
}

TEST_F(XmlConfigDocumentTest, LoadRefusesWithFileAndLineAndLogsThem)
{
    const std::pair<String, String> cases[] = {
        {"<settings/>", "1: the root element is 'settings' instead of 'Settings'"},
        {"<Settings>\n\n</Settings>", "3: missing element 'Path'"},
        {"<Settings>\n<Path>a<b/></Path></Settings>", "2: unexpected element 'b'"},
        {"<Settings><Path>a</Path></Settings>\n<x/>", "2: junk after document element"},
    };
    for (const auto& [content, reason] : cases)
    {
        settings = Settings();
        log->Clear();
        const String refusal = "Zel::System::Commons::XmlException: " + file + ":" + reason;
        EXPECT_EQ(GetThrown([&, text = content] { Load(text); }), refusal);
        EXPECT_THAT(log->GetLines(), ElementsAre("error XmlConfigDocument: Failed to load document '" + file +
                                                 "', line " + reason.front() + ": " + refusal));
    }
}

TEST_F(XmlConfigDocumentTest, ExceptionsOfTheContentAndOfTheFileAreLoggedAndPassUnchanged)
{
    EXPECT_THROW(Load("<Settings>\n\n<Path switch='yes'>a</Path></Settings>"), boost::bad_lexical_cast);
    const String missing = folder / "missing.xml";
    const String reason =
        "Zel::System::Commons::IoException: Failed to open '" + missing + "': No such file or directory";
    EXPECT_EQ(GetThrown([&] { XmlConfigDocument("Settings", settings).Load(missing); }), reason);
    const String failed = "error XmlConfigDocument: Failed to load document '";
    EXPECT_THAT(log->GetLines(),
                ElementsAre(testing::StartsWith(failed + file + "', line 3: bad lexical cast: "),
                            failed + missing + "': " + reason));
}

TEST(XmlSerializationContextTest, ResolvePathExpandsVariablesAndStartsAtTheDocumentsFolder)
{
    AppDomain domain("test");
    domain.SetPathVariable("STATE", "/var/lib/state");
    domain.SetPathVariable("NAME", "bundle");
    domain.SetPathVariable("LOOP", "${LOOP}");
    domain.SetPathVariable("EMPTY", "");
    Singleton<AppDomain>::SetInstance(&domain);
    const XmlSerializationContext context("/etc/updater/settings.xml");
    const std::pair<const char*, const char*> cases[] = {
        {"../pending", "/etc/updater/../pending"},
        {"/absolute", "/absolute"},
        {"${STATE}/${NAME}.raucb", "/var/lib/state/bundle.raucb"},
        {"${EMPTY}a/${NAME}", "/etc/updater/a/bundle"},
        {"${LOOP}", "/etc/updater/${LOOP}"},
        {"$NAME}", "/etc/updater/$NAME}"},
    };
    for (const auto& [path, resolved] : cases)
    {
        EXPECT_EQ(context.ResolvePath(path), resolved);
    }
    for (const char* const path : {"", "${EMPTY}", "${}", "${name}", "${STATE", "a${"})
    {
        EXPECT_THROW(static_cast<void>(context.ResolvePath(path)), XmlException) << path;
    }
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_THROW(static_cast<void>(context.ResolvePath("${STATE}")), XmlException);
}

} // namespace Zel::System::Commons::Xml

#include "Zel/System/Commons/Xml/XmlConfigDocument.h"

#include "Zel/AppDomain.h"
#include "Zel/Singleton.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Commons/Xml/XmlConvert.h"
#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/Xml/XmlSerializationContext.h"
#include "Zel/System/Commons/XmlException.h"

#include "Support/RecordingLogSink.h"
#include "Support/TemporaryFolder.h"

#include <boost/lexical_cast.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace Zel::System::Commons::Xml
{

using testing::ElementsAre;
using Tests::Support::RecordingLog;
using Tests::Support::TemporaryFolder;

namespace
{

/// Settings with a required path and a switch, as services have them.
class Settings : public IXmlSerializable
{
public:
    void ReadXml(XmlReader& reader, XmlSerializationContext& context) override
    {
        bool pathSeen = false;
        String name;
        while (reader.TryReadStartElement(name, true))
        {
            if (name == "Path")
            {
                path = reader.ReadElementContent();
                if (path.empty())
                {
                    throw XmlException("Path must not be empty.");
                }
                path = context.ResolvePath(path.c_str());
                pathSeen = true;
            }
            else if (name == "Switch")
            {
                enabled = XmlConvert::ToBoolean(reader.ReadElementContent());
            }
            else
            {
                context.InvalidXmlElementOccurs(reader, name);
                reader.SkipElementContent();
            }
            reader.ReadEndElement();
        }
        if (!pathSeen)
        {
            context.MissingXmlElementOccurs(reader, "Path");
        }
    }

    void WriteXml(XmlWriter& /*writer*/, XmlSerializationContext& /*context*/) override {}

    String path;
    bool enabled = false;
};

class XmlConfigDocumentTest : public testing::Test
{
protected:
    /// Loads a document with this content and returns the settings.
    Settings Load(const String& content)
    {
        Settings settings;
        XmlConfigDocument("Settings", settings).Load(folder.Write("settings.xml", content));
        return settings;
    }

    /// Returns the message of the `XmlException` with which loading fails.
    [[nodiscard]] String GetRefusal(const String& content)
    {
        try
        {
            static_cast<void>(Load(content));
        }
        catch (const XmlException& exception)
        {
            return exception.GetMessage();
        }
        return "no exception";
    }

    const TemporaryFolder folder;
    const String file = folder / "settings.xml";
    const RecordingLog log;
};

} // namespace

TEST_F(XmlConfigDocumentTest, LoadFillsTheContentAndWarnsOfUnknownElements)
{
    const Settings settings =
        Load("<Settings xmlns:x='y'>\n<Path>pending/bundle</Path>\n<!-- -->\n"
             "<Future kind='a'><Path>other</Path></Future><Switch>1</Switch>\n</Settings>\n");
    EXPECT_EQ(settings.path, folder / "pending/bundle");
    EXPECT_TRUE(settings.enabled);
    EXPECT_THAT(log->GetLines(), ElementsAre("warning XmlSerializationContext: " + file +
                                             ":4: unknown element 'Future' is skipped"));
}

TEST_F(XmlConfigDocumentTest, LoadRefusesWithFileAndLineAndLogsThem)
{
    const struct
    {
        const char* content;
        const char* line;
        const char* reason;
    } cases[] = {
        {"<Other/>", "1", ":1: the root element is 'Other' instead of 'Settings'"},
        {"<settings/>", "1", ":1: the root element is 'settings' instead of 'Settings'"},
        {"<Settings>\n<Switch>1</Switch>\n</Settings>", "3", ":3: missing element 'Path'"},
        {"<Settings>\n<Path>a<b/></Path></Settings>", "2", ":2: unexpected element 'b'"},
        {"<Settings><Path>a</Path>\n", "2", ":2: no element found"},
        {"<Settings><Path>a</Path></Settings>\n<x/>", "2", ":2: junk after document element"},
        {"<Settings><Path>${</Path></Settings>", "1", ": path variable without an end in '${'"},
        {"", "1", ":1: no element found"},
    };

    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.content);
        const String refusal = file + row.reason;
        log->Clear();
        EXPECT_EQ(GetRefusal(row.content), refusal);
        EXPECT_THAT(log->GetLines(),
                    ElementsAre("error XmlConfigDocument: Failed to load document '" + file + "', line " +
                                row.line + ": Zel::System::Commons::XmlException: " + refusal));
    }
}

TEST_F(XmlConfigDocumentTest, ExceptionsOfTheContentPassUnchanged)
{
    EXPECT_EQ(GetRefusal("<Settings>\n<Path></Path></Settings>"), "Path must not be empty.");
    EXPECT_THROW(static_cast<void>(Load("<Settings><Path>a</Path>\n\n<Switch>yes</Switch></Settings>")),
                 boost::bad_lexical_cast);
    const String prefix = "error XmlConfigDocument: Failed to load document '" + file + "', line ";
    EXPECT_THAT(log->GetLines(),
                ElementsAre(prefix + "2: Zel::System::Commons::XmlException: Path must not be empty.",
                            prefix + "3: bad lexical cast: source type value could not be interpreted as "
                                     "target"));
}

TEST_F(XmlConfigDocumentTest, FileThatCannotBeReadIsAnIoException)
{
    Settings settings;
    XmlConfigDocument document("Settings", settings);
    EXPECT_THROW(document.Load(folder / "missing.xml"), IoException);
    EXPECT_THROW(document.Load(folder.GetPath()), IoException);
    EXPECT_THROW(document.Load(folder.Write("large", String(XmlReader::MaximumSize + 1, ' '))), IoException);
    EXPECT_EQ(log->GetLines().size(), 3U);
    EXPECT_EQ(log->GetLines()[0], "error XmlConfigDocument: Failed to load document '" +
                                      (folder / "missing.xml") +
                                      "': Zel::System::Commons::IoException: Failed to open '" +
                                      (folder / "missing.xml") + "': No such file or directory");
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

    const struct
    {
        const char* path;
        const char* resolved;
    } cases[] = {
        {"pending", "/etc/updater/pending"},
        {"../pending", "/etc/updater/../pending"},
        {"/absolute", "/absolute"},
        {"${STATE}/${NAME}.raucb", "/var/lib/state/bundle.raucb"},
        {"a/${NAME}", "/etc/updater/a/bundle"},
        {"${EMPTY}a", "/etc/updater/a"},
        {"${LOOP}", "/etc/updater/${LOOP}"},
        {"$NAME}", "/etc/updater/$NAME}"},
    };

    for (const auto& row : cases)
    {
        EXPECT_EQ(context.ResolvePath(row.path), row.resolved);
    }
    for (const char* const path : {"", "${EMPTY}", "${}", "${name}", "${STATE", "a${"})
    {
        EXPECT_THROW(static_cast<void>(context.ResolvePath(path)), XmlException) << path;
    }
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_THROW(static_cast<void>(context.ResolvePath("${STATE}")), XmlException);
    EXPECT_EQ(XmlSerializationContext("settings.xml").ResolvePath("pending"),
              (std::filesystem::current_path() / "pending").string());
}

} // namespace Zel::System::Commons::Xml

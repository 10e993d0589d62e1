#include "Zel/System/Commons/Xml/XmlReader.h"

#include "Zel/AppDomain.h"
#include "Zel/System/Commons/Xml/XmlSerializationContext.h"

#include "Support/Thrown.h"

#include <gmock/gmock.h>

namespace Zel::System::Commons::Xml
{

namespace
{

String Enter(XmlReader& reader)
{
    String name = "none";
    return reader.TryReadStartElement(name, true) ? name : "none";
}

/// Reads a document to its end and returns what it refused.
[[nodiscard]] String ReadAll(const String& document)
{
    return Tests::Support::GetThrown(
        [&]
        {
            XmlReader reader(document, "file.xml");
            EXPECT_EQ(Enter(reader), "r");
            reader.SkipElementContent();
            reader.ReadEndElement();
            reader.ReadEndDocument();
        });
}

[[nodiscard]] String Repeat(const String& text, std::size_t count)
{
    return Join(std::vector<String>(count, text), "");
}

} // namespace

TEST(XmlReaderTest, RefusesBrokenDocumentsWithFileAndLine)
{
    const std::pair<String, String> cases[] = {
        {"", "1: no element found"},
        {"<r>\n<a>text\n</r>", "3: mismatched tag"},
        {"<r>\n<a/>\n", "3: no element found"},
        {"<r>\n<!-- a </r>", "2: unclosed token"},
        {"<?xml version=\"1.0\"?>\n<!DOCTYPE r>\n<r/>", "2: a DOCTYPE is not allowed"},
        {"<!DOCTYPE r [<!ENTITY a 'aa'><!ENTITY b '&a;&a;'>]><r>&b;</r>", "1: a DOCTYPE is not allowed"},
        {"<r>\n\n&nbsp;</r>", "3: undefined entity"},
        {"<r>\n\xC3\x28</r>", "2: not well-formed (invalid token)"},
        {String("<r>\n\0</r>", 9), "2: not well-formed (invalid token)"},
        {String("<r/>\n\0", 6), "2: not well-formed (invalid token)"},
        {"<r a='1'\n a='2'/>", "2: duplicate attribute"},
        {"<?xml version='1.0' encoding='klingon'?><r/>", "1: unknown encoding"},
        {"<r>" + Repeat("<a>\n", 262'144), "64: elements are nested deeper than 64"},
        {"<r>" + Repeat("<a>", 63) + "<a/>", "1: elements are nested deeper than 64"},
        {"<r>" + String(XmlReader::MaximumSize, ' ') + "</r>", "1: the document has more than 4194304 bytes"},
    };
    for (const auto& [document, refusal] : cases)
    {
        EXPECT_EQ(ReadAll(document), "Zel::System::Commons::XmlException: file.xml:" + refusal);
    }
    EXPECT_EQ(ReadAll("<r>" + Repeat("<a>", 63) + Repeat("</a>", 63) + "</r>"), "nothing");
    EXPECT_EQ(ReadAll("<r>" + String(XmlReader::MaximumSize - 7, 'x') + "</r>"), "nothing");
    EXPECT_EQ(ReadAll("\xEF\xBB\xBF<?xml version='1.0'?><!-- --><r/>\n<!-- -->"), "nothing");
}

TEST(XmlReaderTest, ReadsChildrenInOrderWithAttributesTextAndLines)
{
    XmlReader reader(
        "<?xml version='1.0' encoding='ISO-8859-1'?>\n<r a='outer &amp; &quot;'>\n stray\n <a "
        "a='inner'>one<!-- --> &lt;&#233;\n two<![CDATA[<&]]></a> <b/> <c> <d>deep</d> tail</c>\n</r>",
        "file.xml");
    String text = "unchanged";
    EXPECT_FALSE(reader.TryGetAttributeValue("a", text));
    EXPECT_EQ(Enter(reader), "r");
    EXPECT_EQ(Enter(reader), "a");
    EXPECT_TRUE(reader.TryGetAttributeValue("a", text));
    EXPECT_EQ(text, "inner");
    EXPECT_EQ(reader.GetLine(), 4U);
    EXPECT_EQ(reader.ReadElementContent(), "one <\u00e9\n two<&");
    EXPECT_EQ(reader.GetLine(), 5U);
    reader.ReadEndElement();
    EXPECT_TRUE(reader.TryGetAttributeValue("a", text));
    EXPECT_EQ(text, "outer & \"");
    EXPECT_EQ(Enter(reader), "b");
    EXPECT_EQ(reader.ReadElementContent(), "");
    reader.ReadEndElement();
    EXPECT_EQ(Enter(reader), "c");
    reader.SkipElementContent();
    reader.ReadEndElement();
    EXPECT_EQ(Enter(reader), "none");
    reader.ReadEndElement();
    reader.ReadEndDocument();
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
    for (const auto& [path, resolved] : {std::pair{"../pending", "/etc/updater/../pending"},
                                         {"/absolute", "/absolute"},
                                         {"${STATE}/${NAME}.raucb", "/var/lib/state/bundle.raucb"},
                                         {"${EMPTY}a/${NAME}", "/etc/updater/a/bundle"},
                                         {"${LOOP}", "/etc/updater/${LOOP}"},
                                         {"$NAME}", "/etc/updater/$NAME}"}})
    {
        EXPECT_EQ(context.ResolvePath(path), resolved);
    }
    const auto refuse = [&](const char* path)
    { return Tests::Support::GetThrown([&] { static_cast<void>(context.ResolvePath(path)); }); };
    for (const char* const path : {"", "${EMPTY}", "${}", "${name}", "${STATE", "a${"})
    {
        EXPECT_THAT(refuse(path), testing::HasSubstr("XmlException")) << path;
    }
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_THAT(refuse("${STATE}"), testing::HasSubstr("XmlException"));
}

} // namespace Zel::System::Commons::Xml

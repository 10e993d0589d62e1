#include "Zel/System/Commons/Xml/XmlReader.h"

#include "Zel/System/Commons/XmlException.h"

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <functional>

namespace Zel::System::Commons::Xml
{

namespace
{

/// Reads a document to its end, whatever it holds, and returns what it refused; empty when nothing.
[[nodiscard]] String ReadAll(const String& document)
{
    try
    {
        XmlReader reader(document, "file.xml");
        String name;
        if (reader.TryReadStartElement(name, true))
        {
            reader.SkipElementContent();
            reader.ReadEndElement();
        }
        reader.ReadEndDocument();
    }
    catch (const XmlException& exception)
    {
        return exception.GetMessage();
    }
    return {};
}

/// Returns what the operation refuses; the empty text when it refuses nothing.
[[nodiscard]] String GetRefusal(const std::function<void()>& operation)
{
    try
    {
        operation();
    }
    catch (const XmlException& exception)
    {
        return exception.GetMessage();
    }
    return {};
}

[[nodiscard]] String Repeat(const String& text, std::size_t count)
{
    String repeated;
    repeated.reserve(text.size() * count);
    for (std::size_t number = 0; number < count; ++number)
    {
        repeated += text;
    }
    return repeated;
}

void Enter(XmlReader& reader, const char* expected)
{
    String name;
    ASSERT_TRUE(reader.TryReadStartElement(name, true));
    EXPECT_EQ(name, expected);
}

} // namespace

TEST(XmlReaderTest, RefusesBrokenDocumentsWithFileAndLine)
{
    const String entityBomb = "<!DOCTYPE r [\n<!ENTITY a \"aaaaaaaaaa\">\n<!ENTITY b \"&a;&a;&a;&a;&a;\">\n"
                              "<!ENTITY c \"&b;&b;&b;&b;&b;\">]>\n<r>&c;</r>";

    const struct
    {
        const char* what;
        String document;
        const char* refusal;
    } cases[] = {
        {"empty", "", "file.xml:1: no element found"},
        {"white space only", " \n\n ", "file.xml:3: no element found"},
        {"no markup", "hello", "file.xml:1: syntax error"},
        {"unclosed element", "<r>\n<a>text\n</r>", "file.xml:3: mismatched tag"},
        {"end missing", "<r>\n<a/>\n", "file.xml:3: no element found"},
        {"unclosed tag", "<r>\n<a", "file.xml:2: unclosed token"},
        {"unclosed comment", "<r>\n<!-- a </r>", "file.xml:2: unclosed token"},
        {"DOCTYPE", "<?xml version=\"1.0\"?>\n<!DOCTYPE r>\n<r/>", "file.xml:2: a DOCTYPE is not allowed"},
        {"external DOCTYPE", "<!DOCTYPE r SYSTEM \"/etc/passwd\"><r/>",
         "file.xml:1: a DOCTYPE is not allowed"},
        {"entity bomb", entityBomb, "file.xml:1: a DOCTYPE is not allowed"},
        {"unknown entity", "<r>\n\n&nbsp;</r>", "file.xml:3: undefined entity"},
        {"invalid UTF-8", "<r>\n\xC3\x28</r>", "file.xml:2: not well-formed (invalid token)"},
        {"surrogate in UTF-8", "<r>\xED\xA0\x80</r>", "file.xml:1: not well-formed (invalid token)"},
        {"NUL in text", String("<r>\n\0</r>", 9), "file.xml:2: not well-formed (invalid token)"},
        {"NUL behind the end", String("<r/>\n\0", 6), "file.xml:2: not well-formed (invalid token)"},
        {"second root", "<r/>\n<r/>", "file.xml:2: junk after document element"},
        {"text behind the end", "<r/>\n\ngarbage", "file.xml:3: junk after document element"},
        {"attribute twice", "<r a='1'\n a='2'/>", "file.xml:2: duplicate attribute"},
        {"unknown encoding", "<?xml version='1.0' encoding='klingon'?><r/>", "file.xml:1: unknown encoding"},
        {"1 MiB of nesting", Repeat("<a>\n", 262'144), "file.xml:65: elements are nested deeper than 64"},
        {"65 elements deep", Repeat("<a>", 65) + Repeat("</a>", 65),
         "file.xml:1: elements are nested deeper than 64"},
        {"65th one empty", Repeat("<a>", 64) + "<a/>" + Repeat("</a>", 64),
         "file.xml:1: elements are nested deeper than 64"},
        {"too large", "<r>" + String(XmlReader::MaximumSize, ' ') + "</r>",
         "file.xml:1: the document has more than 4194304 bytes"},
    };

    for (const auto& row : cases)
    {
        EXPECT_EQ(ReadAll(row.document), row.refusal) << row.what;
    }
}

TEST(XmlReaderTest, AcceptsDocumentsUpToItsLimits)
{
    const String accepted[] = {
        Repeat("<a>", 64) + Repeat("</a>", 64),
        "<r>" + String(XmlReader::MaximumSize - 7, 'x') + "</r>",
        "<?xml version='1.0' encoding='UTF-8'?><!-- head --><r>" + Repeat("<a/>", 10'000) +
            "</r><!-- end -->\n",
        "\xEF\xBB\xBF<r/>",
    };
    for (const String& document : accepted)
    {
        EXPECT_EQ(ReadAll(document), "");
    }
}

TEST(XmlReaderTest, ReadsChildrenInOrderWithTextAndLines)
{
    XmlReader reader(
        "<?xml version='1.0' encoding='ISO-8859-1'?>\n<r>\n stray\n <a>one<!-- --> &lt;&#233;\n two<![CDATA[<"
        "&]]></a>\n <b/>\n <c> <d>deep</d> tail</c>\n</r>",
        "file.xml");
    Enter(reader, "r");
    EXPECT_EQ(reader.GetLine(), 2U);
    Enter(reader, "a");
    EXPECT_EQ(reader.GetLine(), 4U);
    EXPECT_EQ(reader.ReadElementContent(), "one <\u00e9\n two<&");
    EXPECT_EQ(reader.GetLine(), 5U);
    reader.ReadEndElement();
    Enter(reader, "b");
    EXPECT_EQ(reader.ReadElementContent(), "");
    reader.ReadEndElement();
    Enter(reader, "c");
    Enter(reader, "d");
    reader.SkipElementContent();
    reader.ReadEndElement();
    reader.SkipElementContent();
    reader.ReadEndElement();
    String name = "unchanged";
    EXPECT_FALSE(reader.TryReadStartElement(name, true));
    EXPECT_EQ(name, "unchanged");
    EXPECT_EQ(reader.GetLine(), 8U);
    reader.ReadEndElement();
    reader.ReadEndDocument();
}

TEST(XmlReaderTest, RefusesStepsThatTheDocumentDoesNotAllow)
{
    XmlReader reader("<r>\n<a>\n<b/>text</a>\n</r>", "file.xml");
    String name;
    EXPECT_EQ(GetRefusal([&] { reader.ReadEndElement(); }), "file.xml:1: unexpected element 'r'");
    Enter(reader, "r");
    EXPECT_EQ(GetRefusal([&] { reader.ReadEndDocument(); }), "file.xml:2: unexpected element 'a'");
    Enter(reader, "a");
    EXPECT_EQ(GetRefusal([&] { static_cast<void>(reader.ReadElementContent()); }),
              "file.xml:3: unexpected element 'b'");
    Enter(reader, "b");
    reader.ReadEndElement();
    EXPECT_EQ(GetRefusal([&] { reader.ReadEndElement(); }), "file.xml:3: unexpected text");
    EXPECT_EQ(GetRefusal([&] { static_cast<void>(reader.TryReadStartElement(name, false)); }),
              "file.xml:3: unexpected text");
    reader.SkipElementContent();
    reader.ReadEndElement();
    EXPECT_EQ(GetRefusal([&] { reader.ReadEndDocument(); }), "file.xml:4: unexpected end of element 'r'");
    reader.ReadEndElement();
    reader.ReadEndDocument();
    EXPECT_EQ(GetRefusal([&] { reader.SkipElementContent(); }), "file.xml:4: unexpected end of the document");
}

TEST(XmlReaderTest, RefusesAgainWhatItRefusedOnce)
{
    XmlReader reader("<r>\n<a></r>", "file.xml");
    Enter(reader, "r");
    Enter(reader, "a");
    for (int attempt = 0; attempt < 3; ++attempt)
    {
        EXPECT_EQ(GetRefusal([&] { static_cast<void>(reader.ReadElementContent()); }),
                  "file.xml:2: mismatched tag");
    }
}

TEST(XmlReaderTest, AttributesAreThoseOfTheElementThatIsOpen)
{
    XmlReader reader("<r a='outer &amp; &quot;' flag='TRUE'><c a='inner' flag='maybe'/></r>", "file.xml");
    String text = "unchanged";
    bool flag = false;
    EXPECT_FALSE(reader.TryGetAttributeValue("a", text));
    Enter(reader, "r");
    Enter(reader, "c");
    EXPECT_TRUE(reader.TryGetAttributeValue("a", text));
    EXPECT_EQ(text, "inner");
    EXPECT_THROW(static_cast<void>(reader.TryGetAttributeValue("flag", flag)), boost::bad_lexical_cast);
    EXPECT_FALSE(flag);
    EXPECT_FALSE(reader.TryGetAttributeValue("missing", flag));
    reader.ReadEndElement();
    EXPECT_TRUE(reader.TryGetAttributeValue("a", text));
    EXPECT_EQ(text, "outer & \"");
    EXPECT_TRUE(reader.TryGetAttributeValue("flag", flag));
    EXPECT_TRUE(flag);
}

} // namespace Zel::System::Commons::Xml

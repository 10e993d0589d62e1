#include "Zel/System/Commons/Xml/XmlWriter.h"

#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/XmlException.h"

#include <gtest/gtest.h>

namespace Zel::System::Commons::Xml
{

TEST(XmlWriterTest, WritesWhatTheReaderReadsBack)
{
    const String value = "\"<a & 'b'>\"\t\n\r\u00e9";
    XmlWriter writer;
    writer.WriteStartElement("root");
    writer.WriteAttribute("first", value);
    writer.WriteAttribute("second", "");
    writer.WriteStartElement("empty");
    writer.WriteEndElement();
    writer.WriteStartElement("text");
    writer.WriteElementContent(value);
    writer.WriteEndElement();
    writer.WriteEndElement();
    EXPECT_EQ(writer.GetDocument(),
              "<root first=\"&quot;&lt;a &amp; 'b'&gt;&quot;&#9;&#10;&#13;\u00e9\" second=\"\"><empty/>"
              "<text>&quot;&lt;a &amp; 'b'&gt;&quot;&#9;&#10;&#13;\u00e9</text></root>");
    XmlReader reader(writer.GetDocument(), "written");
    String name;
    String read;
    ASSERT_TRUE(reader.TryReadStartElement(name, false));
    EXPECT_TRUE(reader.TryGetAttributeValue("first", read));
    EXPECT_EQ(read, value);
    ASSERT_TRUE(reader.TryReadStartElement(name, false));
    reader.ReadEndElement();
    ASSERT_TRUE(reader.TryReadStartElement(name, false));
    EXPECT_EQ(reader.ReadElementContent(), value);
}

TEST(XmlWriterTest, RefusesWhatWouldNotBeADocument)
{
    XmlWriter writer;
    EXPECT_THROW(writer.WriteEndElement(), XmlException);
    EXPECT_THROW(writer.WriteElementContent("text"), XmlException);
    EXPECT_THROW(writer.WriteAttribute("name", "value"), XmlException);
    for (const char* const name : {"", "1a", "-a", "a b", "a<b", "a\"b"})
    {
        EXPECT_THROW(writer.WriteStartElement(name), XmlException) << name;
    }
    writer.WriteStartElement("a");
    EXPECT_THROW(writer.WriteAttribute("name", "\x01"), XmlException);
    EXPECT_THROW(writer.WriteElementContent(String("\0", 1)), XmlException);
    writer.WriteElementContent("text");
    EXPECT_THROW(writer.WriteAttribute("name", "value"), XmlException);
    writer.WriteEndElement();
    EXPECT_EQ(writer.GetDocument(), "<a>text</a>");
}

} // namespace Zel::System::Commons::Xml

#include "Zel/System/Commons/Xml/XmlConvert.h"

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

namespace Zel::System::Commons::Xml
{

TEST(XmlConvertTest, ToBooleanTakesWordsInAnyCaseAndOneAndZero)
{
    for (const char* const text : {"true", "TRUE", "True", "1", "+1", "01", "001", "+001"})
    {
        EXPECT_TRUE(XmlConvert::ToBoolean(text)) << text;
    }
    for (const char* const text : {"false", "FALSE", "False", "0", "-0", "+0", "000", "-00"})
    {
        EXPECT_FALSE(XmlConvert::ToBoolean(text)) << text;
    }
    for (const char* const text :
         {"", " ", "yes", "on", "2", "-1", "1 ", " true", "true ", "10", "0x1", "1.0"})
    {
        EXPECT_THROW(static_cast<void>(XmlConvert::ToBoolean(text)), boost::bad_lexical_cast) << text;
    }
}

} // namespace Zel::System::Commons::Xml

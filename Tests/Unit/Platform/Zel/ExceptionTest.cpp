#include "Zel/Exception.h"

#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Commons/XmlException.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace Zel
{

namespace
{

using System::Commons::ArgumentException;
using System::Commons::IoException;
using System::Commons::XmlException;

TEST(ExceptionTest, ToStringNamesTheThrownTypeThroughABaseReference)
{
    const XmlException thrown("no root");
    const Exception& caught = thrown;
    EXPECT_EQ(caught.ToString(), "Zel::System::Commons::XmlException: no root");
    EXPECT_STREQ(caught.what(), "no root");
    EXPECT_EQ(Exception("plain").ToString(), "Zel::Exception: plain");
}

TEST(ExceptionTest, ArgumentExceptionAppendsTheArgumentToItsTextFormOnly)
{
    const ArgumentException exception("moduleName", "Invalid module name");
    EXPECT_EQ(exception.GetArgumentName(), "moduleName");
    EXPECT_EQ(exception.GetMessage(), "Invalid module name");
    EXPECT_EQ(exception.ToString(),
              "Zel::System::Commons::ArgumentException: Invalid module name (argument 'moduleName')");
}

TEST(ExceptionTest, IoExceptionTellsActionPathAndReason)
{
    const IoException exception("delete", "/no/such file", ENOENT);
    EXPECT_EQ(exception.GetPath(), "/no/such file");
    EXPECT_EQ(exception.GetErrorNumber(), ENOENT);
    EXPECT_EQ(exception.GetMessage(), "Failed to delete '/no/such file': No such file or directory");
}

} // namespace

} // namespace Zel

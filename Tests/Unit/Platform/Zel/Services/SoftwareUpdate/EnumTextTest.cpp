#include "Zel/Exception.h"
#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/Services/SoftwareUpdate/ResultCode.h"
#include "Zel/Services/SoftwareUpdate/SoftwareVersionFileType.h"
#include "Zel/System/Nm/Severity.h"

#include <gtest/gtest.h>
#include <sstream>

namespace Zel::Services::SoftwareUpdate
{

namespace
{

using System::Nm::Severity;

template <typename Enum>
String GetRefusal(Enum value)
{
    try
    {
        return String("named ") + ToString(value);
    }
    catch (const Exception& exception)
    {
        return exception.GetMessage();
    }
}

TEST(EnumTextTest, AValueWithoutANameIsRefusedWithItsTypeAndNumber)
{
    EXPECT_EQ(GetRefusal(InstallationState{3}), "Invalid value for Enum 'InstallationState' occurs: 3");
    EXPECT_EQ(GetRefusal(InstallationState{-1}), "Invalid value for Enum 'InstallationState' occurs: -1");
    EXPECT_EQ(GetRefusal(SoftwareVersionFileType{7}),
              "Invalid value for Enum 'SoftwareVersionFileType' occurs: 7");
    EXPECT_EQ(GetRefusal(ResultCode{0x80010001}), "Invalid value for Enum 'ResultCode' occurs: 2147549185");
    EXPECT_EQ(GetRefusal(Severity{2}), "named Warning");
    EXPECT_EQ(GetRefusal(Severity{0}), "Invalid value for Enum 'Severity' occurs: 0");
}

TEST(EnumTextTest, StreamsWriteTheName)
{
    std::ostringstream stream;
    stream << InstallationState::Installing << ' ' << SoftwareVersionFileType::Fallback;
    EXPECT_EQ(stream.str(), "Installing Fallback");
    EXPECT_THROW(stream << InstallationState{3}, Exception);
}

} // namespace

} // namespace Zel::Services::SoftwareUpdate

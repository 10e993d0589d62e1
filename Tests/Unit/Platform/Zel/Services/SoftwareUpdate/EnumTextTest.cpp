#include "Zel/EnumText.h"
#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/Services/SoftwareUpdate/ResultCode.h"
#include "Zel/Services/SoftwareUpdate/SoftwareVersionFileType.h"
#include "Zel/System/Nm/Severity.h"

#include "Unit/Platform/Thrown.h"

#include <gtest/gtest.h>

namespace Zel::Services::SoftwareUpdate
{

TEST(EnumTextTest, AValueWithoutANameIsRefusedWithItsTypeAndNumber)
{
    const auto refuse = [](auto value)
    { return Tests::GetThrown([&] { static_cast<void>(ToString(value)); }); };
    const String prefix = "Zel::Exception: Invalid value for Enum ";
    EXPECT_EQ(refuse(InstallationState::Installing), "nothing");
    EXPECT_EQ(refuse(InstallationState{-1}), prefix + "'InstallationState' occurs: -1");
    EXPECT_EQ(refuse(SoftwareVersionFileType{7}), prefix + "'SoftwareVersionFileType' occurs: 7");
    EXPECT_EQ(refuse(ResultCode{0x80010001}), prefix + "'ResultCode' occurs: 2147549185");
    EXPECT_EQ(refuse(System::Nm::Severity{0}), prefix + "'Severity' occurs: 0");
}

} // namespace Zel::Services::SoftwareUpdate

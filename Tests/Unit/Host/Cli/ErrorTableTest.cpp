#include "Cli/ErrorTable.h"

#include "Zel/Services/SoftwareUpdate/ResultCode.h"

#include <gtest/gtest.h>

namespace Zel::Host::Cli
{

using Services::SoftwareUpdate::ResultCode;

TEST(ErrorTableTest, EveryErrorOfTheServiceHasItsExitCodeAndOtherNamesAreFailures)
{
    for (const auto code :
         {ResultCode::GeneralError, ResultCode::OperationFailed, ResultCode::OutOfMemory,
          ResultCode::AlreadyReverted, ResultCode::NotSupported, ResultCode::NotFound,
          ResultCode::BootedSlotUnavailable, ResultCode::InvalidArgument, ResultCode::InvalidState})
    {
        const String name = ErrorTable::ServicePrefix + ToString(code);
        EXPECT_EQ(ErrorTable::Find(name).name, name);
    }
    const auto find = [](const String& name) { return static_cast<int>(ErrorTable::Find(name).exitCode); };
    EXPECT_EQ(find("zel.SoftwareUpdate1.Error.OutOfMemory"), 5);
    EXPECT_EQ(find("zel.SoftwareUpdate1.Error.InvalidState"), 5);
    EXPECT_EQ(find("zel.SoftwareUpdate1.Error.BusyBody"), 1);
    EXPECT_EQ(find("org.freedesktop.DBus.Error.NoReply"), 7);
    EXPECT_EQ(find("org.freedesktop.DBus.Error.Spawn.ChildExited"), 7);
    EXPECT_EQ(find("com.example.Error"), 1);
}

} // namespace Zel::Host::Cli

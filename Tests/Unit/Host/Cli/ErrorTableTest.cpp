#include "Cli/ErrorTable.h"

#include "Cli/BusError.h"
#include "Zel/Services/SoftwareUpdate/ResultCode.h"

#include <gtest/gtest.h>

namespace Zel::Host::Cli
{

namespace
{

using Services::SoftwareUpdate::ResultCode;

TEST(ErrorTableTest, EveryResultCodeHasItsExitCodeAndAHint)
{
    const std::vector<std::pair<ResultCode, int>> codes = {
        {ResultCode::GeneralError, 1},          {ResultCode::OperationFailed, 1},
        {ResultCode::OutOfMemory, 5},           {ResultCode::AlreadyReverted, 0},
        {ResultCode::NotSupported, 1},          {ResultCode::NotFound, 3},
        {ResultCode::BootedSlotUnavailable, 1}, {ResultCode::InvalidArgument, 6},
        {ResultCode::InvalidState, 5},
    };
    for (const auto& [code, exitCode] : codes)
    {
        const ErrorRow& row = ErrorTable::Find(String("zel.SoftwareUpdate1.Error.") + ToString(code));
        EXPECT_TRUE(row.name.ends_with(ToString(code)));
        EXPECT_EQ(static_cast<int>(row.exitCode), exitCode) << ToString(code);
        EXPECT_FALSE(row.hint.empty()) << ToString(code);
    }
    EXPECT_NE(ErrorTable::Find("zel.SoftwareUpdate1.Error.InvalidState").hint.find("zelupdate resume"),
              std::string_view::npos);
}

TEST(ErrorTableTest, OtherErrorsMapByNameAndUnknownOnesAreFailures)
{
    const std::vector<std::pair<String, int>> names = {
        {"zel.SoftwareUpdate1.Error.Busy", 5},
        {"zel.SoftwareUpdate1.Error.TryLater", 5},
        {"org.freedesktop.DBus.Error.AccessDenied", 10},
        {"zel.SoftwareUpdate1.Error.BusyBody", 1},
        {"org.freedesktop.DBus.Error.AccessDenied", 10},
        {"org.freedesktop.DBus.Error.ServiceUnknown", 7},
        {"org.freedesktop.DBus.Error.NameHasNoOwner", 7},
        {"org.freedesktop.DBus.Error.Spawn.ChildExited", 7},
        {"org.freedesktop.DBus.Error.NoReply", 7},
        {"org.freedesktop.DBus.Error.UnknownMethod", 1},
        {"com.example.Error", 1},
        {"", 1},
    };
    for (const auto& [name, exitCode] : names)
    {
        EXPECT_EQ(static_cast<int>(ErrorTable::Find(name).exitCode), exitCode) << name;
    }
}

TEST(ErrorTableTest, AnErrorWithoutTextIsNamedAndOnlyTheServicesPrefixIsCutOff)
{
    const BusError own("zel.SoftwareUpdate1.Error.InvalidState", "");
    EXPECT_EQ(own.GetMessage(), "zel.SoftwareUpdate1.Error.InvalidState");
    EXPECT_EQ(own.GetShortName(), "InvalidState");
    EXPECT_EQ(BusError("com.example.Error", "x").GetShortName(), "com.example.Error");
}

} // namespace

} // namespace Zel::Host::Cli

#include "Rauc/RaucJourney.h"

#include <gmock/gmock.h>

#include <filesystem>

using testing::IsEmpty;

namespace Zel::Tests
{

class RefusedBundles : public RaucJourney
{
};

TEST_F(RefusedBundles, EachIsToldApartAndLeavesTheEarlierOne)
{
    StageGood(device.MakeBundle("2.0.0.0"));
    const auto folder = platform.folder / "folder";
    std::filesystem::create_directory(folder);

    struct Row
    {
        const char* name;
        String bundle;
        ResultCode result;
        String message;
    };

    const std::vector<Row> rows = {
        {"stranger", device.MakeBundle("3.0.0.0", {"--stranger"}), ResultCode::InvalidArgument,
         "The verification of the software package failed."},
        {"foreign compatible", device.MakeBundle("3.1.0.0", {"--compatible", "another-device"}),
         ResultCode::InvalidArgument,
         "The software package is build for the 'another-device' and not for the 'zel-demo-controller'."},
        {"truncated", device.MakeBundle("3.2.0.0", {"--truncated"}), ResultCode::InvalidArgument,
         "The verification of the software package failed."},
        {"version of 512 characters", device.MakeBundle("3.3.0.0", {"--manifest-version", String(512, '9')}),
         ResultCode::InvalidArgument, "The verification of the software package failed."},
        {"directory", folder, ResultCode::InvalidArgument, "The file is not a regular file."},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        String message;
        EXPECT_EQ(Stage(row.bundle, message), row.result);
        EXPECT_EQ(message, row.message);
        EXPECT_FALSE(std::filesystem::exists(platform.GetPendingPath() + ".part"));
        EXPECT_EQ(GetVersion(FileType::Pending), "2.0.0.0");
        EXPECT_EQ(GetStatus().state, InstallationState::Idle);
        std::filesystem::remove_all(platform.folder / "delivered.raucb");
    }
    EXPECT_THAT(platform.notifications->GetLines(), IsEmpty());
}

TEST_F(RefusedBundles, MissingFileIsNotFound)
{
    String message;
    EXPECT_EQ(module->SetSoftwarePackage(platform.ComponentId, FileType::Pending, platform.folder / "none",
                                         message),
              ResultCode::NotFound);
    EXPECT_EQ(message, "The file does not exist.");
    EXPECT_EQ(GetVersion(FileType::Pending), "");
}

TEST_F(RefusedBundles, BundleThatRaucCannotReadAnyMoreIsDeleted)
{
    StageGood(device.MakeBundle("2.0.0.0"));
    std::filesystem::resize_file(platform.GetPendingPath(), 4096);
    EXPECT_EQ(Install("2.0.0.0"), ResultCode::NotFound);
    EXPECT_FALSE(IsPending());
    EXPECT_EQ(GetStatus().state, InstallationState::Idle);
}

} // namespace Zel::Tests

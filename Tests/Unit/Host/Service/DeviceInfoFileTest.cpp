#include "Service/DeviceInfoFile.h"

#include "Support/RecordingLogSink.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace Zel::Host::Service
{

using testing::ElementsAre;
using Tests::Support::RecordingLog;
using Tests::Support::TemporaryFolder;

TEST(DeviceInfoFileTest, LinesBecomeFacts)
{
    const TemporaryFolder folder;
    DeviceInfoFile file(folder.Write("device-info", "# Key=Comment\n"
                                                    "General.ArticleName=Controller 750\r\n"
                                                    "\n"
                                                    " Blanks \t=\t in between \n"
                                                    "Number=12\n"
                                                    "Negative=-12\n"
                                                    "Zeros=007\n"
                                                    "Plus=+7\n"
                                                    "Huge=9223372036854775808\n"
                                                    "Date=2026-11-21\n"
                                                    "Equals=a=b\n"
                                                    "Empty=\n"
                                                    "Twice=first\n"
                                                    "Twice=second\n"
                                                    "no fact\n"
                                                    "Last=line"));
    const std::vector<std::pair<const char*, Variant>> rows = {
        {"General.ArticleName", "Controller 750"},
        {"Blanks", "in between"},
        {"Number", std::int64_t{12}},
        {"Negative", std::int64_t{-12}},
        {"Zeros", "007"},
        {"Plus", "+7"},
        {"Huge", "9223372036854775808"},
        {"Date", "2026-11-21"},
        {"Equals", "a=b"},
        {"Empty", ""},
        {"Twice", "second"},
        {"Last", "line"},
    };
    for (const auto& [key, value] : rows)
    {
        EXPECT_EQ(file.GetItem(key), value) << key;
    }
    for (const char* key : {"Key", "# Key", "no fact", "general.articlename"})
    {
        EXPECT_TRUE(file.GetItem(key).IsNone()) << key;
    }
}

TEST(DeviceInfoFileTest, AChangedFileIsReadAnew)
{
    const TemporaryFolder folder;
    DeviceInfoFile file(folder.Write("device-info", "Key=1"));
    EXPECT_EQ(file.GetItem("Key"), std::int64_t{1});
    static_cast<void>(folder.Write("device-info", "Key=2"));
    EXPECT_EQ(file.GetItem("Key"), std::int64_t{2});
}

TEST(DeviceInfoFileTest, AMissingFileHasNoFacts)
{
    const TemporaryFolder folder;
    const RecordingLog log;
    DeviceInfoFile file(folder / "missing");
    EXPECT_TRUE(file.GetItem("Key").IsNone());
    EXPECT_THAT(log->GetLines(), ElementsAre("error DeviceInfoFile: Failed to open '" + folder.GetPath() +
                                             "/missing': No such file or directory"));
}

} // namespace Zel::Host::Service

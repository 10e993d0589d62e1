#include "Service/DeviceInfoFile.h"

#include "Support/RecordingLog.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace Zel::Host::Service
{

TEST(DeviceInfoFileTest, LinesBecomeFacts)
{
    const Tests::Support::TemporaryFolder folder;
    DeviceInfoFile file(folder / "device-info");
    // The line, the fact's key, and its value; none without one.
    const std::vector<std::tuple<String, const char*, Variant>> rows = {
        {"General.ArticleName=Controller 750\r", "General.ArticleName", "Controller 750"},
        {" Blanks \t=\t in between ", "Blanks", "in between"},
        {"Zeros=007", "Zeros", "007"},
        {"Equals=a=b", "Equals", "a=b"},
        {"Empty=\n", "Empty", ""},
        {"Twice=first\nTwice=second", "Twice", "second"},
        {"# Key=Comment", "Key", Variant()},
        {"# Other=Comment", "# Other", Variant()},
        {"no fact", "no fact", Variant()},
        {"Case=1", "case", Variant()},
        {"Last=line", "Last", "line"},
    };
    for (const auto& [line, key, value] : rows)
    {
        // A changed file is read anew.
        folder.Write("device-info", "First=1\n" + line);
        EXPECT_EQ(file.GetItem(key), value) << line;
    }
    const Tests::Support::RecordingLog log;
    EXPECT_TRUE(DeviceInfoFile(folder / "missing").GetItem("Key").IsNone());
    EXPECT_THAT(log.GetLines(), testing::ElementsAre("error DeviceInfoFile: Failed to open '" +
                                                     folder / "missing" + "': No such file or directory"));
}

} // namespace Zel::Host::Service

#include "Zel/System/Commons/Io/File.h"

#include "Support/TemporaryFolder.h"
#include "Unit/Platform/Thrown.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

namespace Zel::System::Commons::Io
{

using testing::EndsWith;
using Tests::GetThrown;

TEST(FileTest, OnlyARegularFileIsAFileAndIsReadUpToTheLimitAlsoThroughALink)
{
    const Tests::Support::TemporaryFolder folder;
    const String file = folder.Write("file", "content");
    std::filesystem::create_symlink("file", folder / "link");
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_TRUE(File::Exists(file));
    for (const char* const name : {"", "link", "dangling", "pipe", "missing"})
    {
        EXPECT_FALSE(File::Exists(folder / name)) << name;
    }
    const auto read = [](const String& path, std::size_t limit)
    { return GetThrown([&] { EXPECT_EQ(File::ReadAllText(path, limit), "content"); }); };
    EXPECT_EQ(read(folder / "link", 7), "nothing");
    EXPECT_THAT(read(file, 6), EndsWith("File too large"));
    EXPECT_THAT(read(folder.GetPath(), 100), EndsWith("Invalid argument"));
    EXPECT_THAT(read(folder / "pipe", 100), EndsWith("Invalid argument"));
    EXPECT_THAT(read(folder / "dangling", 100), EndsWith("No such file or directory"));
    File::Delete(folder / "link");
    File::Delete(folder / "missing", true);
    EXPECT_THAT(GetThrown([&] { File::Delete(folder / "missing"); }), EndsWith("No such file or directory"));
    EXPECT_THAT(GetThrown([&] { File::Delete(folder.GetPath(), true); }), EndsWith("Is a directory"));
    EXPECT_THAT(folder.GetNames(), testing::ElementsAre("dangling", "file", "pipe"));
}

} // namespace Zel::System::Commons::Io

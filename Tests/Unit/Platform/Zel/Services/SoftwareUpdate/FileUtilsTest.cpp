#include "Zel/Services/SoftwareUpdate/FileUtils.h"

#include "Zel/System/Commons/Io/File.h"

#include "Support/Thrown.h"
#include "Support/TmpfsMount.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <random>

namespace Zel::Services::SoftwareUpdate
{

using namespace testing;
using Tests::Support::GetThrown;
using Tests::Support::TemporaryFolder;

/// A folder on the disk and one on another file system.
struct FileUtilsTest : Test
{
    /// Text without a period.
    [[nodiscard]] static String MakeContent(std::size_t size)
    {
        String content(size, '\0');
        std::ranges::generate(content, std::minstd_rand());
        return content;
    }

    [[nodiscard]] static String Move(const String& source, const String& target, bool replace = true)
    {
        return GetThrown([&] { FileUtils::RenameOrCopyDelete(source, target, false, replace); });
    }

    static constexpr std::size_t MiB = std::size_t{1024} * 1024;
    const TemporaryFolder disk;
    const Tests::Support::TmpfsMount other{4 * MiB};
};

TEST_F(FileUtilsTest, RenameReplacesTheNameAndNotWhatALinkLeadsTo)
{
    const String victim = disk.Write("victim", "precious");
    std::filesystem::create_symlink("victim", disk / "target");
    FileUtils::Rename(disk.Write("source", "new"), disk / "target", false, true);
    EXPECT_FALSE(std::filesystem::is_symlink(disk / "target"));
    EXPECT_EQ(TemporaryFolder::Read(victim), "precious");
    FileUtils::Rename(disk / "target", disk / "a/b/target", true, false);
    EXPECT_EQ(TemporaryFolder::Read(disk / "a/b/target"), "new");
    EXPECT_THAT(disk.GetNames(), ElementsAre("a", "victim"));
    EXPECT_THAT(GetThrown([&] { FileUtils::Rename(victim, other / "target", false, true); }),
                EndsWith("Invalid cross-device link"));
    EXPECT_TRUE(FileUtils::Exists(victim) && !FileUtils::Exists(disk / "target"));
}

TEST_F(FileUtilsTest, MoveOfAFileToItselfKeepsItAndToAnotherNameOfItLeavesOneName)
{
    const String file = disk.Write("file", "content");
    std::filesystem::create_hard_link(file, disk / "other");
    EXPECT_EQ(Move(file, disk.GetPath() + "//file"), "nothing");
    EXPECT_THAT(disk.GetNames(), ElementsAre("file", "other"));
    EXPECT_EQ(Move(file, disk / "other"), "nothing");
    EXPECT_THAT(disk.GetNames(), ElementsAre("other"));
}

TEST_F(FileUtilsTest, CopyTakesTheWholeContentAndDeletesTheSource)
{
    const mode_t earlierMask = ::umask(0077);
    const String target = other / "folder/target";
    for (const String& content : {String(), MakeContent(3 * MiB + 17), String("shorter")})
    {
        FileUtils::RenameOrCopyDelete(disk.Write("source", content), target, true, true);
        EXPECT_TRUE(TemporaryFolder::Read(target) == content) << content.size();
        EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms{0640});
        EXPECT_THAT(disk.GetNames(), IsEmpty());
    }
    ::umask(earlierMask);
}

TEST_F(FileUtilsTest, CopyReplacesALinkOrALeftOverCopyAndNotWhatItLeadsTo)
{
    const String victim = other.Write("victim", "precious");
    for (const char* const link : {"target", "target.copy"})
    {
        std::filesystem::create_symlink("victim", other / link);
        EXPECT_EQ(Move(disk.Write("source", "new"), other / "target"), "nothing");
        EXPECT_FALSE(std::filesystem::is_symlink(other / "target"));
        EXPECT_EQ(TemporaryFolder::Read(other / "target"), "new");
        EXPECT_EQ(TemporaryFolder::Read(victim), "precious") << link;
        EXPECT_THAT(other.GetNames(), ElementsAre("target", "victim"));
    }
}

TEST_F(FileUtilsTest, MoveThatIsRefusedLeavesBothSides)
{
    const TemporaryFolder sources;
    const String file = sources.Write("file", "new");
    std::filesystem::create_symlink("file", sources / "link");
    ASSERT_EQ(::mkfifo((sources / "pipe").c_str(), 0600), 0);
    const String target = other.Write("target", "old");
    EXPECT_THAT(Move(sources / "link", target), EndsWith("Too many levels of symbolic links"));
    EXPECT_THAT(Move(sources / "pipe", target), EndsWith("Invalid argument"));
    for (const TemporaryFolder* const folder : std::vector<const TemporaryFolder*>{&disk, &other})
    {
        folder->Write("target", "old");
        EXPECT_THAT(Move(file, *folder / "target", false), EndsWith("File exists"));
        EXPECT_THAT(Move(file, folder->GetPath()), EndsWith("Is a directory"));
        EXPECT_THAT(Move(file, *folder / "no/target"), EndsWith("No such file or directory"));
        EXPECT_THAT(Move(file, *folder / String("target\0", 7)), EndsWith("Invalid argument"));
        EXPECT_THAT(Move(sources / "no", *folder / "target"), EndsWith("No such file or directory"));
        EXPECT_EQ(TemporaryFolder::Read(*folder / "target"), "old");
        EXPECT_THAT(folder->GetNames(), ElementsAre("target"));
    }
    EXPECT_EQ(TemporaryFolder::Read(file), "new");
    EXPECT_THAT(sources.GetNames(), ElementsAre("file", "link", "pipe"));
}

TEST_F(FileUtilsTest, CopyWithoutSpaceOrOfASourceThatGrowsOrCannotBeDeletedIsTakenBack)
{
    const String content = MakeContent(5 * MiB);
    const String large = disk.Write("large", content);
    const String target = other.Write("target", "old");
    EXPECT_THAT(Move(large, target), StartsWith("Zel::System::Commons::OutOfMemoryException: "));
    EXPECT_TRUE(TemporaryFolder::Read(large) == content);
    // The space that the attempt took is free again.
    std::filesystem::remove(other.Write("filler", MakeContent(3 * MiB)));
    const Tests::Support::PinnedFile pinned(disk.Write("source", "new"));
    EXPECT_THAT(Move(disk / "source", target), EndsWith("Device or resource busy"));
    EXPECT_THAT(Move(disk / "source", other / "missing"), EndsWith("Device or resource busy"));
    // Without a size and without an end, like one that grows while it is copied.
    const Tests::Support::Mount endless("/proc/self/pagemap", disk.Write("endless", ""), nullptr, "");
    EXPECT_THAT(Move(disk / "endless", target), HasSubstr("move the changing"));
    EXPECT_EQ(TemporaryFolder::Read(disk / "source"), "new");
    EXPECT_EQ(TemporaryFolder::Read(target), "old");
    EXPECT_THAT(other.GetNames(), ElementsAre("target"));
}

TEST(FileTest, OnlyARegularFileIsAFileAndIsReadUpToTheLimitAlsoThroughALink)
{
    using System::Commons::Io::File;
    const TemporaryFolder folder;
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
    EXPECT_THAT(folder.GetNames(), ElementsAre("dangling", "file", "pipe"));
}

} // namespace Zel::Services::SoftwareUpdate

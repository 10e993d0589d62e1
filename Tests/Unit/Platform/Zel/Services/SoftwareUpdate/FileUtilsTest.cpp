#include "Zel/Services/SoftwareUpdate/FileUtils.h"

#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Commons/OutOfMemoryException.h"

#include "Support/TemporaryFolder.h"
#include "Support/TmpfsMount.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>

namespace Zel::Services::SoftwareUpdate
{

using System::Commons::IoException;
using System::Commons::OutOfMemoryException;
using testing::ElementsAre;
using testing::IsEmpty;
using Tests::Support::PinnedFile;
using Tests::Support::TemporaryFolder;
using Tests::Support::TmpfsMount;

namespace
{

constexpr std::size_t MiB = std::size_t{1024} * 1024;

/// Bytes without a period that a block's size divides.
[[nodiscard]] String MakeContent(std::size_t size)
{
    String content(size, '\0');
    unsigned int state = 1;
    for (char& byte : content)
    {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return content;
}

/// Returns the error number that the operation's `IoException` carries, 0 when it does not throw.
[[nodiscard]] int GetErrorNumber(const std::function<void()>& operation)
{
    try
    {
        operation();
    }
    catch (const IoException& exception)
    {
        return exception.GetErrorNumber();
    }
    return 0;
}

[[nodiscard]] mode_t GetMode(const String& path)
{
    struct stat status = {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status.st_mode & static_cast<mode_t>(ALLPERMS);
}

/// Sets the process's umask as long as it lives.
class Umask
{
public:
    explicit Umask(mode_t mask) : earlier(::umask(mask)) {}

    ~Umask() { static_cast<void>(::umask(earlier)); }

    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    const mode_t earlier;
};

/// A folder on the disk and one on another file system.
class AcrossFileSystemsTest : public testing::Test
{
protected:
    const TemporaryFolder disk;
    TmpfsMount memory{4 * MiB};
};

} // namespace

TEST(FileUtilsTest, ExistsFindsWhateverAPathNames)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.Write("file", "x"));
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    EXPECT_TRUE(FileUtils::Exists(folder / "file"));
    EXPECT_TRUE(FileUtils::Exists(folder.GetPath()));
    EXPECT_TRUE(FileUtils::Exists(folder / "dangling"));
    EXPECT_FALSE(FileUtils::Exists(folder / "missing"));
    EXPECT_FALSE(FileUtils::Exists(folder / String("file\0tail", 9)));
    EXPECT_FALSE(FileUtils::Exists(""));
}

TEST(FileUtilsTest, RenameMovesAndReplaces)
{
    const TemporaryFolder folder;
    const String source = folder.Write("source", "new");
    const String target = folder.Write("target", "old");
    FileUtils::Rename(source, target, false, true);
    EXPECT_THAT(folder.GetNames(), ElementsAre("target"));
    EXPECT_EQ(TemporaryFolder::Read(target), "new");
    FileUtils::Rename(target, folder / "a/b/c/target", true, false);
    EXPECT_EQ(TemporaryFolder::Read(folder / "a/b/c/target"), "new");
    EXPECT_THAT(folder.GetNames(), ElementsAre("a"));
}

TEST(FileUtilsTest, RenameThatFailsLeavesBothSides)
{
    const TemporaryFolder folder;
    const String source = folder.Write("source", "new");
    const String target = folder.Write("target", "old");
    std::filesystem::create_directory(folder / "folder");
    const String withNul("target\0", 7);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, target, false, false); }), EEXIST);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, source, false, false); }), EEXIST);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, folder / "folder", false, true); }), EISDIR);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, folder / "no/target", false, true); }), ENOENT);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, target + "/x", true, true); }), EEXIST);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(folder / "no", target, false, true); }), ENOENT);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(folder / "no", folder / "no", false, true); }), ENOENT);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, folder / withNul, false, true); }), EINVAL);
    EXPECT_THAT(folder.GetNames(), ElementsAre("folder", "source", "target"));
    EXPECT_EQ(TemporaryFolder::Read(source), "new");
    EXPECT_EQ(TemporaryFolder::Read(target), "old");
}

TEST(FileUtilsTest, RenameReplacesALinkAndNotWhatItLeadsTo)
{
    const TemporaryFolder folder;
    const String source = folder.Write("source", "new");
    const String victim = folder.Write("victim", "precious");
    std::filesystem::create_symlink("victim", folder / "target");
    FileUtils::Rename(source, folder / "target", false, true);
    EXPECT_THAT(folder.GetNames(), ElementsAre("target", "victim"));
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "target"));
    EXPECT_EQ(TemporaryFolder::Read(victim), "precious");
}

TEST(FileUtilsTest, MoveOfAFileToItselfKeepsItAndToAnotherNameOfItLeavesOneName)
{
    const TemporaryFolder folder;
    const String file = folder.Write("file", "content");
    std::filesystem::create_hard_link(file, folder / "other");
    FileUtils::Rename(file, folder / "./file", false, true);
    FileUtils::RenameOrCopyDelete(file, folder.GetPath() + "//file", false, true);
    EXPECT_THAT(folder.GetNames(), ElementsAre("file", "other"));
    FileUtils::Rename(file, folder / "other", false, true);
    EXPECT_THAT(folder.GetNames(), ElementsAre("other"));
    EXPECT_EQ(TemporaryFolder::Read(folder / "other"), "content");
}

TEST_F(AcrossFileSystemsTest, RenameIsRefused)
{
    const String source = disk.Write("source", "new");
    const String target = memory.GetFolder().Write("target", "old");
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::Rename(source, target, false, true); }), EXDEV);
    EXPECT_EQ(TemporaryFolder::Read(source), "new");
    EXPECT_EQ(TemporaryFolder::Read(target), "old");
}

TEST_F(AcrossFileSystemsTest, CopyTakesTheWholeContentAndDeletesTheSource)
{
    const Umask umask(0077);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, MiB, 3 * MiB + 17})
    {
        SCOPED_TRACE(size);
        const String content = MakeContent(size);
        const String source = disk.Write("source", content);
        const String target = memory / "folder/target";
        FileUtils::RenameOrCopyDelete(source, target, true, true);
        EXPECT_TRUE(TemporaryFolder::Read(target) == content);
        EXPECT_EQ(GetMode(target), mode_t{0640});
        EXPECT_THAT(disk.GetNames(), IsEmpty());
        FileUtils::RenameOrCopyDelete(target, disk / "back", false, false);
        EXPECT_TRUE(TemporaryFolder::Read(disk / "back") == content);
        EXPECT_TRUE(std::filesystem::is_empty(memory / "folder"));
        std::filesystem::remove(disk / "back");
    }
}

TEST_F(AcrossFileSystemsTest, CopyReplacesTheTargetAndALeftOverCopyButFollowsNoLink)
{
    const TemporaryFolder& folder = memory.GetFolder();
    const String victim = folder.Write("victim", "precious");
    for (const char* const inTheWay : {"target", "target.copy"})
    {
        SCOPED_TRACE(inTheWay);
        for (const bool link : {false, true})
        {
            const String source = disk.Write("source", "new");
            static_cast<void>(folder.Write("target", "old"));
            std::filesystem::remove(folder / inTheWay);
            if (link)
            {
                std::filesystem::create_symlink("victim", folder / inTheWay);
            }
            else
            {
                static_cast<void>(folder.Write(inTheWay, "something much longer than the new content"));
            }
            FileUtils::RenameOrCopyDelete(source, folder / "target", false, true);
            EXPECT_EQ(TemporaryFolder::Read(folder / "target"), "new");
            EXPECT_FALSE(std::filesystem::is_symlink(folder / "target"));
            EXPECT_EQ(TemporaryFolder::Read(victim), "precious");
            EXPECT_THAT(folder.GetNames(), ElementsAre("target", "victim"));
            EXPECT_THAT(disk.GetNames(), IsEmpty());
        }
    }
}

TEST_F(AcrossFileSystemsTest, CopyRefusesWhatIsNoRegularFile)
{
    static_cast<void>(disk.Write("file", "content"));
    std::filesystem::create_symlink("file", disk / "link");
    std::filesystem::create_directory(disk / "folder");
    ASSERT_EQ(::mkfifo((disk / "pipe").c_str(), 0600), 0);
    const String target = memory.GetFolder().Write("target", "old");
    const auto move = [&](const char* name)
    { return GetErrorNumber([&] { FileUtils::RenameOrCopyDelete(disk / name, target, false, true); }); };
    EXPECT_EQ(move("link"), ELOOP);
    EXPECT_EQ(move("folder"), EINVAL);
    EXPECT_EQ(move("pipe"), EINVAL);
    EXPECT_EQ(move("missing"), ENOENT);
    EXPECT_THAT(disk.GetNames(), ElementsAre("file", "folder", "link", "pipe"));
    EXPECT_THAT(memory.GetFolder().GetNames(), ElementsAre("target"));
    EXPECT_EQ(TemporaryFolder::Read(target), "old");
}

TEST_F(AcrossFileSystemsTest, CopyWithoutEnoughSpaceLeavesBothSides)
{
    const String content = MakeContent(5 * MiB);
    const String source = disk.Write("source", content);
    const String target = memory.GetFolder().Write("target", "old");
    EXPECT_THROW(FileUtils::RenameOrCopyDelete(source, target, false, true), OutOfMemoryException);
    EXPECT_TRUE(TemporaryFolder::Read(source) == content);
    EXPECT_EQ(TemporaryFolder::Read(target), "old");
    EXPECT_THAT(memory.GetFolder().GetNames(), ElementsAre("target"));
    // The space that the attempt took is free again.
    static_cast<void>(memory.GetFolder().Write("filler", MakeContent(3 * MiB)));
}

TEST_F(AcrossFileSystemsTest, CopyOntoAnExistingTargetOrAFolderIsRefused)
{
    const String source = disk.Write("source", "new");
    const String target = memory.GetFolder().Write("target", "old");
    std::filesystem::create_directory(memory / "folder");
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::RenameOrCopyDelete(source, target, false, false); }), EEXIST);
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::RenameOrCopyDelete(source, memory / "folder", false, true); }),
              EISDIR);
    EXPECT_EQ(TemporaryFolder::Read(source), "new");
    EXPECT_EQ(TemporaryFolder::Read(target), "old");
    EXPECT_THAT(memory.GetFolder().GetNames(), ElementsAre("folder", "target"));
}

TEST_F(AcrossFileSystemsTest, CopyOfASourceThatCannotBeDeletedIsTakenBack)
{
    const String source = disk.Write("source", "new");
    const PinnedFile pinned(source);
    const String existing = memory.GetFolder().Write("existing", "old");
    const auto move = [&](const String& target)
    { return GetErrorNumber([&] { FileUtils::RenameOrCopyDelete(source, target, false, true); }); };
    EXPECT_EQ(move(existing), EBUSY);
    EXPECT_EQ(move(memory / "missing"), EBUSY);
    EXPECT_EQ(TemporaryFolder::Read(source), "new");
    EXPECT_EQ(TemporaryFolder::Read(existing), "old");
    EXPECT_THAT(memory.GetFolder().GetNames(), ElementsAre("existing"));
}

TEST_F(AcrossFileSystemsTest, CopyFromAReadOnlyFileSystemIsRefusedAtOnce)
{
    const String source = memory.GetFolder().Write("source", "new");
    memory.MakeReadOnly();
    const String target = disk / "target";
    EXPECT_EQ(GetErrorNumber([&] { FileUtils::RenameOrCopyDelete(source, target, false, true); }), EROFS);
    EXPECT_THAT(disk.GetNames(), IsEmpty());
    EXPECT_EQ(TemporaryFolder::Read(source), "new");
}

} // namespace Zel::Services::SoftwareUpdate

#include "Zel/System/Commons/Io/File.h"

#include "Zel/System/Commons/Io/FileDescriptor.h"
#include "Zel/System/Commons/Io/FileSystemInfo.h"
#include "Zel/System/Commons/IoException.h"

#include "Support/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <utility>

namespace Zel::System::Commons::Io
{

using testing::ElementsAre;
using testing::StartsWith;
using Tests::Support::TemporaryFolder;

namespace
{

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

/// A folder with one of each kind of thing that a path can name.
class FileTest : public testing::Test
{
protected:
    FileTest()
    {
        static_cast<void>(folder.Write("file", "content"));
        std::filesystem::create_directory(folder / "folder");
        std::filesystem::create_symlink("file", folder / "link");
        std::filesystem::create_symlink("nowhere", folder / "dangling");
        EXPECT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    }

    const TemporaryFolder folder;
};

} // namespace

TEST_F(FileTest, OnlyARegularFileIsAFile)
{
    for (const char* const name : {"folder", "link", "dangling", "pipe", "missing", ""})
    {
        EXPECT_FALSE(File::Exists(folder / name)) << name;
        EXPECT_FALSE(FileSystemInfo::IsFile(folder / name)) << name;
    }
    EXPECT_TRUE(File::Exists(folder / "file"));
    EXPECT_TRUE(FileSystemInfo::IsFile(folder / "file"));
    EXPECT_FALSE(File::Exists(folder / String("file\0tail", 9)));
}

TEST_F(FileTest, DeleteTakesFilesAndLinksButNoFolder)
{
    File::Delete(folder / "link");
    File::Delete(folder / "dangling");
    File::Delete(folder / "pipe");
    EXPECT_EQ(GetErrorNumber([&] { File::Delete(folder / "folder"); }), EISDIR);
    EXPECT_EQ(GetErrorNumber([&] { File::Delete(folder / "missing"); }), ENOENT);
    EXPECT_EQ(GetErrorNumber([&] { File::Delete(folder / "file/below", true); }), ENOTDIR);
    EXPECT_EQ(GetErrorNumber([&] { File::Delete(folder / String("file\0tail", 9)); }), EINVAL);
    File::Delete(folder / "missing", true);
    EXPECT_THAT(folder.GetNames(), ElementsAre("file", "folder"));
}

TEST_F(FileTest, ReadAllTextReadsWhatALinkLeadsToUpToTheLimit)
{
    EXPECT_EQ(File::ReadAllText(folder / "file", 7), "content");
    EXPECT_EQ(File::ReadAllText(folder / "link", 7), "content");
    EXPECT_EQ(File::ReadAllText(folder.Write("empty", ""), 0), "");
    // A file of the kernel, whose size is given as 0.
    EXPECT_THAT(File::ReadAllText("/proc/self/status", 65'536), StartsWith("Name:"));
    const std::pair<const char*, int> refused[] = {
        {"folder", EINVAL}, {"pipe", EINVAL}, {"dangling", ENOENT}, {"missing", ENOENT}};
    for (const auto& [name, errorNumber] : refused)
    {
        const auto read = [&, path = folder / name] { static_cast<void>(File::ReadAllText(path, 100)); };
        EXPECT_EQ(GetErrorNumber(read), errorNumber) << name;
    }
    EXPECT_EQ(GetErrorNumber([&] { static_cast<void>(File::ReadAllText(folder / "file", 6)); }), EFBIG);
}

TEST_F(FileTest, FactsAreThoseOfTheNamedFileItself)
{
    const timespec times[] = {{0, UTIME_OMIT}, {1'700'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "file").c_str(), times, 0), 0);
    EXPECT_EQ(FileSystemInfo::GetSize(folder / "file"), 7U);
    EXPECT_EQ(FileSystemInfo::GetSize(folder / "link"), 4U);
    EXPECT_EQ(FileSystemInfo::GetLastWriteTime(folder / "file"),
              DateTime(DateTime::UnixEpochTicks + 17'000'000'001'234'567, DateTimeKind::Utc));
    EXPECT_EQ(GetErrorNumber([&] { static_cast<void>(FileSystemInfo::GetSize(folder / "no")); }), ENOENT);
    EXPECT_EQ(GetErrorNumber([&] { static_cast<void>(FileSystemInfo::GetLastWriteTime(folder / "no")); }),
              ENOENT);
}

TEST_F(FileTest, DescriptorClosesOnceAndMoves)
{
    FileDescriptor first = FileDescriptor::Open(folder / "file", O_RDONLY);
    FileDescriptor second = FileDescriptor::Open(folder / "folder", O_RDONLY | O_DIRECTORY);
    const int number = first.Get();
    const int replaced = second.Get();
    second = std::move(first);
    EXPECT_EQ(second.Get(), number);
    EXPECT_EQ(second.GetPath(), folder / "file");
    EXPECT_EQ(::fcntl(replaced, F_GETFD), -1);
    EXPECT_EQ(::fcntl(number, F_GETFD), FD_CLOEXEC);
    {
        const FileDescriptor third(std::move(second));
    }
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
}

} // namespace Zel::System::Commons::Io

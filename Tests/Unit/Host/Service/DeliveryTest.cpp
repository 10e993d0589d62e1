#include "Service/Delivery.h"

#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/OutOfMemoryException.h"

#include "Support/TemporaryFolder.h"
#include "Support/TmpfsMount.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace Zel::Host::Service
{

using System::Commons::ArgumentException;
using System::Commons::OutOfMemoryException;
using testing::MatchesRegex;
using Tests::Support::TemporaryFolder;
using Tests::Support::TmpfsMount;

namespace
{

using FileDescriptor = Delivery::FileDescriptor;

class DeliveryTest : public testing::Test
{
protected:
    /// Returns the text of the refusal, empty when the file was taken.
    template <typename Refusal>
    [[nodiscard]] String Take(const String& path, int flags)
    {
        try
        {
            static_cast<void>(delivery.Take(FileDescriptor::Open(path, flags), [] {}));
        }
        catch (const Refusal& exception)
        {
            EXPECT_THAT(std::filesystem::is_empty(target), true) << "Something was left behind.";
            return exception.GetMessage();
        }
        return "";
    }

    const TemporaryFolder folder;
    const String target = folder / "delivery";
    Delivery delivery{target};
};

} // namespace

TEST_F(DeliveryTest, ARegularFileBecomesOneOfOurOwn)
{
    const String content = String(std::size_t{3} * 1024 * 1024, 'x') + "end";
    const String path = folder.Write("bundle", content);
    std::filesystem::create_symlink(path, folder / "link");
    const FileDescriptor source = FileDescriptor::Open(folder / "link", O_RDONLY);
    // The position does not count.
    ASSERT_EQ(lseek(source.Get(), 100, SEEK_SET), 100);
    String delivered;
    {
        const auto file = delivery.Take(source, [] {});
        delivered = file->GetPath();
        EXPECT_EQ(TemporaryFolder::Read(delivered), content);
        struct stat status = {};
        ASSERT_EQ(stat(delivered.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0640);
        EXPECT_EQ(lseek(source.Get(), 0, SEEK_CUR), 100);
    }
    EXPECT_FALSE(std::filesystem::exists(delivered));
}

TEST_F(DeliveryTest, AFileOfAnotherFileSystemIsCopied)
{
    const TmpfsMount mount(std::size_t{4} * 1024 * 1024);
    const String content(std::size_t{2} * 1024 * 1024 + 1, 'y');
    const auto file =
        delivery.Take(FileDescriptor::Open(mount.GetFolder().Write("bundle", content), O_RDONLY), [] {});
    EXPECT_EQ(TemporaryFolder::Read(file->GetPath()), content);
}

TEST_F(DeliveryTest, AFileThatWasMovedAwayStays)
{
    const String path = folder.Write("bundle", "content");
    {
        const auto file = delivery.Take(FileDescriptor::Open(path, O_RDONLY), [] {});
        std::filesystem::rename(file->GetPath(), folder / "pending");
    }
    EXPECT_EQ(TemporaryFolder::Read(folder / "pending"), "content");
}

TEST_F(DeliveryTest, WhatIsNoReadableFileIsRefused)
{
    const String file = folder.Write("file", "content");
    const String empty = folder.Write("empty", "");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink(file, folder / "link");

    struct Row
    {
        String path;
        int flags;
        const char* refusal;
    };

    const std::vector<Row> rows = {
        {folder / "fifo", O_RDONLY | O_NONBLOCK, "The bundle is not a regular file."},
        {folder.GetPath(), O_RDONLY | O_DIRECTORY, "The bundle is a directory, not a regular file."},
        {folder / "link", O_PATH | O_NOFOLLOW, "The bundle is not a regular file."},
        {"/dev/zero", O_RDONLY, "The bundle is not a regular file."},
        {file, O_WRONLY, "The bundle is not open for reading."},
        {file, O_PATH, "The bundle is not open for reading."},
        {empty, O_RDONLY, "The bundle is empty."},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(Take<ArgumentException>(row.path, row.flags), row.refusal) << row.path;
    }
}

TEST_F(DeliveryTest, AFileThatItsWriterKeepsChangingIsRefused)
{
    const String path = folder.Write("bundle", String(std::size_t{8} * 1024 * 1024, 'x'));
    const FileDescriptor writer = FileDescriptor::Open(path, O_WRONLY);
    std::atomic<bool> ended = false;
    std::thread thread(
        [&]
        {
            while (!ended)
            {
                EXPECT_EQ(pwrite(writer.Get(), "y", 1, 0), 1);
            }
        });
    // The clock of a file system advances in steps; a write within the same one is not seen.
    String refusal;
    for (int attempt = 0; attempt < 100 && refusal.empty(); ++attempt)
    {
        refusal = Take<ArgumentException>(path, O_RDONLY);
    }
    ended = true;
    thread.join();
    EXPECT_EQ(refusal, "The bundle was changed while it was read. Stage it when its writer has finished.");
}

TEST_F(DeliveryTest, WithoutRoomNothingIsWritten)
{
    const TmpfsMount mount(std::size_t{1024} * 1024);
    Delivery small(mount / "delivery");
    const FileDescriptor sparse = FileDescriptor::Open(folder.Write("sparse", ""), O_RDWR);
    constexpr off_t Size = off_t{3} * 1024 * 1024 * 1024;
    ASSERT_EQ(ftruncate(sparse.Get(), Size), 0);
    try
    {
        static_cast<void>(small.Take(sparse, [] {}));
        FAIL() << "It was taken.";
    }
    catch (const OutOfMemoryException& exception)
    {
        EXPECT_THAT(exception.GetMessage(),
                    MatchesRegex("The bundle has 3221225472 bytes, and only [0-9]+ bytes are "
                                 "free in '.*/delivery'\\."));
    }
    EXPECT_TRUE(std::filesystem::is_empty(mount / "delivery"));
}

TEST_F(DeliveryTest, WhatAnEarlierRunLeftIsRemoved)
{
    ASSERT_EQ(chmod(target.c_str(), 0755), 0);
    static_cast<void>(folder.Write("delivery/bundle-7", "half"));
    const Delivery next(target);
    EXPECT_TRUE(std::filesystem::is_empty(target));
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms::owner_all);
}

} // namespace Zel::Host::Service

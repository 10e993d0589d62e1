#include "Service/Delivery.h"

#include "Support/Thrown.h"
#include "Support/TmpfsMount.h"

#include <fcntl.h>
#include <gmock/gmock.h>

namespace Zel::Host::Service
{

using namespace testing;
using FileDescriptor = Delivery::FileDescriptor;
using Tests::Support::TemporaryFolder;

struct DeliveryTest : Test
{
    [[nodiscard]] static String Refuse(
        Delivery& taker, const FileDescriptor& source, const std::function<void()>& progress = [] {})
    {
        return Tests::Support::GetThrown([&] { static_cast<void>(taker.Take(source, progress)); });
    }

    static constexpr std::size_t MiB = std::size_t{1024} * 1024;
    const TemporaryFolder folder;
    const String target = folder / "delivery";
    Delivery delivery{target};
    const String argument = "Zel::System::Commons::ArgumentException: ";
};

TEST_F(DeliveryTest, ARegularFileBecomesOneOfOurOwnAlsoFromAnotherFileSystem)
{
    const Tests::Support::TmpfsMount mount(8 * MiB);
    const String content = String(3 * MiB, 'x') + "end";
    std::filesystem::create_symlink(mount.Write("bundle", content), folder / "link");
    for (const String& path : {folder.Write("bundle", content), folder / "link"})
    {
        const FileDescriptor source = FileDescriptor::Open(path, O_RDONLY);
        // The position does not count.
        ASSERT_EQ(lseek(source.Get(), 100, SEEK_SET), 100);
        auto file = delivery.Take(source, [] {});
        EXPECT_TRUE(TemporaryFolder::Read(file->GetPath()) == content);
        EXPECT_EQ(std::filesystem::status(file->GetPath()).permissions(), std::filesystem::perms{0640});
        EXPECT_EQ(lseek(source.Get(), 0, SEEK_CUR), 100);
        file.reset();
        EXPECT_TRUE(std::filesystem::is_empty(target));
    }
    // One that was moved away stays.
    auto moved = delivery.Take(FileDescriptor::Open(folder / "bundle", O_RDONLY), [] {});
    std::filesystem::rename(moved->GetPath(), folder / "pending");
    moved.reset();
    EXPECT_TRUE(TemporaryFolder::Read(folder / "pending") == content);
}

TEST_F(DeliveryTest, WhatIsNoReadableFileIsRefused)
{
    const String file = folder.Write("file", "content");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink(file, folder / "link");
    const std::vector<std::tuple<String, int, const char*>> rows = {
        {folder / "fifo", O_RDONLY | O_NONBLOCK, "The bundle is not a regular file."},
        {folder.GetPath(), O_RDONLY | O_DIRECTORY,
         "The bundle is a directory, not a regular file. Hand over"},
        {folder / "link", O_PATH | O_NOFOLLOW, "The bundle is not a regular file."},
        {"/dev/zero", O_RDONLY, "The bundle is not a regular file."},
        {file, O_WRONLY, "The bundle is not open for reading."},
        {file, O_PATH, "The bundle is not open for reading."},
        {folder.Write("empty", ""), O_RDONLY, "The bundle is empty. Get it once more"},
    };
    for (const auto& [path, flags, refusal] : rows)
    {
        EXPECT_THAT(Refuse(delivery, FileDescriptor::Open(path, flags)), StartsWith(argument + refusal))
            << path;
        EXPECT_TRUE(std::filesystem::is_empty(target)) << path;
    }
}

TEST_F(DeliveryTest, AFileThatItsWriterChangesMeanwhileIsRefused)
{
    const String content(9 * MiB, 'x');
    for (const auto& [next, refusal] : {std::pair{content, "was changed"}, {String("x"), "became shorter"}})
    {
        const auto source = FileDescriptor::Open(folder.Write("bundle", content), O_RDONLY);
        // The clock of a file system advances in steps; a write within the same one is not seen.
        std::filesystem::last_write_time(folder / "bundle", {});
        const auto change = [&, &written = next] { folder.Write("bundle", written); };
        EXPECT_EQ(Refuse(delivery, source, change),
                  argument + "The bundle " + refusal +
                      " while it was read. Stage it when its writer has finished. (argument 'bundle')");
        EXPECT_TRUE(std::filesystem::is_empty(target));
    }
}

TEST_F(DeliveryTest, WithoutRoomNothingIsLeft)
{
    const Tests::Support::TmpfsMount mount(8 * MiB);
    Delivery small(mount / "delivery");
    const String memory = "Zel::System::Commons::OutOfMemoryException: The bundle has ";
    std::filesystem::resize_file(folder.Write("bundle", ""), 3'221'225'472);
    EXPECT_THAT(Refuse(small, FileDescriptor::Open(folder / "bundle", O_RDONLY)),
                MatchesRegex(memory +
                             "3221225472 bytes, and only [0-9]+ bytes are free in '.*/delivery', of which "
                             "4194304 have to stay free\\."));
    folder.Write("bundle", String(3 * MiB, 'x'));
    const auto fill = [&] { std::ofstream(mount / "filler") << String(8 * MiB, 'x'); };
    EXPECT_THAT(Refuse(small, FileDescriptor::Open(folder / "bundle", O_RDONLY), fill),
                MatchesRegex(memory + "3145728 bytes, and '.*/delivery' became full while it was copied\\."));
    EXPECT_TRUE(std::filesystem::is_empty(mount / "delivery"));
}

TEST_F(DeliveryTest, WhatAnEarlierRunLeftIsRemovedAndNothingElse)
{
    ASSERT_EQ(chmod(target.c_str(), 0755), 0);
    folder.Write("delivery/bundle-17", "half");
    // A settings document may put pending bundles here.
    for (const char* const other : {"bundle-", "bundle-7.raucb", "pending"})
    {
        folder.Write(String("delivery/") + other, "whole");
    }
    const Delivery next(target);
    EXPECT_FALSE(std::filesystem::exists(target + "/bundle-17"));
    const auto left = std::filesystem::directory_iterator(target);
    EXPECT_EQ(std::distance(begin(left), end(left)), 3);
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms::owner_all);
}

} // namespace Zel::Host::Service

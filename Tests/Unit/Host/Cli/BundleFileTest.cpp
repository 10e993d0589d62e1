#include "Cli/BundleFile.h"

#include "Cli/CommandError.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Zel::Host::Cli
{

namespace
{

using Tests::Support::TemporaryFolder;

int GetExitCode(const String& path)
{
    try
    {
        return OpenBundle(path).Get() >= 0 ? 0 : -1;
    }
    catch (const CommandError& error)
    {
        EXPECT_NE(error.GetMessage().find("'" + path + "'"), String::npos) << error.GetMessage();
        return static_cast<int>(error.GetExitCode());
    }
}

TEST(BundleFileTest, OnlyARegularFileIsABundle)
{
    const TemporaryFolder folder;
    const String file = folder.Write("good.raucb", "x");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink("good.raucb", (folder / "link").c_str()), 0);

    EXPECT_EQ(GetExitCode(file), 0);
    EXPECT_EQ(GetExitCode(folder / "missing"), 3);
    EXPECT_EQ(GetExitCode(file + "/below"), 3);
    EXPECT_EQ(GetExitCode(""), 3);
    EXPECT_EQ(GetExitCode(folder.GetPath()), 6);
    EXPECT_EQ(GetExitCode(folder / "link"), 6);
    EXPECT_EQ(GetExitCode(folder / "fifo"), 6);
    EXPECT_EQ(GetExitCode("/dev/zero"), 6);
}

} // namespace

} // namespace Zel::Host::Cli

#include "Cli/BundleFile.h"

#include "Cli/CommandError.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Zel::Host::Cli
{

int GetExitCode(const String& path)
{
    try
    {
        return OpenBundle(path, InterruptSignals()).Get() >= 0 ? 0 : -1;
    }
    catch (const CommandError& error)
    {
        EXPECT_NE(error.GetMessage().find("'" + path + "'"), String::npos) << error.GetMessage();
        return static_cast<int>(error.GetExitCode());
    }
}

TEST(BundleFileTest, OnlyARegularFileIsABundle)
{
    const Tests::Support::TemporaryFolder folder;
    const String file = folder.Write("good.raucb", "x");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink("good.raucb", (folder / "link").c_str()), 0);
    EXPECT_EQ(GetExitCode(file), 0);
    for (const String& path : {folder / "missing", file + "/below", String()})
    {
        EXPECT_EQ(GetExitCode(path), 3) << path;
    }
    for (const String& path : {folder.GetPath(), folder / "link", folder / "fifo", String("/dev/zero")})
    {
        EXPECT_EQ(GetExitCode(path), 6) << path;
    }
}

} // namespace Zel::Host::Cli

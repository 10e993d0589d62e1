#include "Bus/Host/Cli/ZelUpdateFixture.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace Zel::Tests::Bus
{

namespace
{

using nlohmann::json;
using Support::ProgramRun;
using Support::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class InstallTest : public ZelUpdateFixture
{
};

/// Returns the content behind the descriptor of a call's first argument.
String ReadDescriptor(sd_bus_message& call)
{
    int descriptor = -1;
    String content(100, '\0');
    EXPECT_GE(sd_bus_message_read(&call, "h", &descriptor), 0);
    const ssize_t count = pread(descriptor, content.data(), content.size(), 0);
    EXPECT_GE(count, 0);
    content.resize(static_cast<std::size_t>(count));
    return content;
}

/// What an Install call asks for.
struct InstallOptions
{
    String version = "not read";
    bool fallback = false;
    std::uint64_t delay = 0;
};

InstallOptions ReadInstall(sd_bus_message& call)
{
    const char* version = nullptr;
    EXPECT_GT(sd_bus_message_read(&call, "s", &version), 0);
    InstallOptions options;
    options.version = version;
    EXPECT_GT(sd_bus_message_enter_container(&call, 'a', "{sv}"), 0);
    while (sd_bus_message_enter_container(&call, 'e', "sv") > 0)
    {
        const char* name = nullptr;
        int fallback = 0;
        EXPECT_GT(sd_bus_message_read(&call, "s", &name), 0);
        const bool isDelay = String("delay") == name;
        EXPECT_GT(isDelay ? sd_bus_message_read(&call, "v", "t", &options.delay)
                          : sd_bus_message_read(&call, "v", "b", &fallback),
                  0)
            << name;
        options.fallback = options.fallback || fallback != 0;
        EXPECT_GE(sd_bus_message_exit_container(&call), 0);
    }
    return options;
}

TEST_F(InstallTest, InstallsABundleUpToTheRestart)
{
    const TemporaryFolder folder;
    String staged;
    InstallOptions options;
    service.On("Stage",
               [&](sd_bus_message& call)
               {
                   staged = ReadDescriptor(call);
                   service.state.pendingVersion = "1.2.0.0";
                   service.ReplyText(call, "1.2.0.0");
               });
    service.On("Install",
               [&](sd_bus_message& call)
               {
                   options = ReadInstall(call);
                   Progress(0, "Installing");
                   service.Reply(call);
                   Progress(46, "Copying image to rootfs.1");
                   Progress(100, "Installing done.");
                   Progress(100, Reboot);
                   service.Vanish();
               });
    ProgramRun run(Call({"install", folder.Write("a.raucb", "a bundle")}));
    Finish(run);

    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
    EXPECT_EQ(run.GetErr(), "");
    EXPECT_EQ(run.GetOut(),
              "Handing over " + folder / "a.raucb" +
                  " ...\nThe bundle is verified: version 1.2.0.0.\nInstalling version 1.2.0.0 ...\n"
                  "  0 % Installing\n 46 % Copying image to rootfs.1\n 99 % Installing done.\n"
                  "100 % The device is going to reboot.\nThe device restarts into version 1.2.0.0.\n"
                  "Next: After the restart 'zelupdate status' tells the verdict.\n");
    EXPECT_EQ(staged, "a bundle");
    EXPECT_EQ(options.version, "1.2.0.0");
    EXPECT_FALSE(options.fallback);
    EXPECT_EQ(options.delay, 0U);
    EXPECT_THAT(service.GetCalls(), ElementsAre("Stage", "Install"));
}

TEST_F(InstallTest, DrawsABarOnATerminalAndNoColourWithNoColor)
{
    ScriptGoodInstallation();
    ProgramRun run(Call({"install"}), ProgramRun::Output::Terminal, {"TERM=xterm", "NO_COLOR=1"});
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0) << run.GetOut();
    EXPECT_THAT(run.GetOut(), HasSubstr("\r[########-----------]  46 % Copying image to rootfs.1\x1B[K"));
    EXPECT_THAT(run.GetOut(),
                HasSubstr("\r[###################] 100 % The device is going to reboot.\x1B[K\r\n"));
    EXPECT_THAT(run.GetOut(), Not(HasSubstr("\x1B[32m")));
}

TEST_F(InstallTest, JsonOfAnInstallationIsOneObjectAlone)
{
    ScriptGoodInstallation();
    ProgramRun run(Call({"install", "--json"}));
    Finish(run);
    const json object = json::parse(run.GetOut());
    EXPECT_EQ(object.at("outcome"), "restarting");
    EXPECT_EQ(object.at("component"), "Controller 750");
    EXPECT_EQ(object.at("exitCode"), 0);
    EXPECT_EQ(run.GetStatus(), 0);
}

TEST_F(InstallTest, TheFallbackWaysUnansweredCallIsNoFailure)
{
    InstallOptions options;
    service.On("Install",
               [&](sd_bus_message& call)
               {
                   options = ReadInstall(call);
                   Progress(0, Reboot);
                   service.Vanish();
               });
    ProgramRun run(Call({"install", "--fallback"}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0) << run.GetErr();
    EXPECT_TRUE(options.fallback);
    EXPECT_THAT(run.GetOut(), HasSubstr("The device restarts into the fallback version.\n"));
}

TEST_F(InstallTest, ADelayedInstallationIsAcceptedAndWaitsWithoutTheProgram)
{
    InstallOptions options;
    service.On("Install",
               [&](sd_bus_message& call)
               {
                   options = ReadInstall(call);
                   service.state.state = State::Installing;
                   service.state.nextStart = 1'795'244'490'000'000;
                   service.Reply(call);
               });
    ProgramRun run(Call({"install", "--delay", "90s", "--no-wait"}));
    Finish(run);
    EXPECT_EQ(run.GetStatus(), 0);
    EXPECT_EQ(options.delay, 90'000U);
    EXPECT_THAT(
        run.GetOut(),
        HasSubstr("The installation of version 1.1.0.0 is accepted and waits until 2026-11-21T07:01:30Z.\n"));
    EXPECT_THAT(run.GetOut(), HasSubstr("Next: The installation starts by itself at 2026-11-21T07:01:30Z;"));
}

} // namespace

} // namespace Zel::Tests::Bus

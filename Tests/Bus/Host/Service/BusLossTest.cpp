#include "Service/StatusStore.h"

#include "Support/PrivateBus.h"
#include "Support/ProgramRun.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using testing::HasSubstr;
using Tests::Support::PrivateBus;
using Tests::Support::ProgramRun;
using Tests::Support::TemporaryFolder;

namespace
{

const String Id = "Controller 750";

/// The service's program with the module, on a bus without RAUC.
class BusLossTest : public testing::Test
{
protected:
    BusLossTest()
    {
        static_cast<void>(
            folder.Write("device-info", "General.ArticleName=" + Id + "\nGeneral.VendorName=Vendor\n"));
        static_cast<void>(folder.Write("boot-id", "this-boot\n"));
        static_cast<void>(folder.Write("module.xml", "<RaucUpdaterSettingsDocument><PendingUpdatePath>"
                                                     "${DataFolder}/pending</PendingUpdatePath>"
                                                     "</RaucUpdaterSettingsDocument>"));
        static_cast<void>(folder.Write(
            "settings.xml", "<ZelUpdatedSettingsDocument><Module><Library>" ZEL_MODULE_LIBRARY
                            "</Library><Name>RaucUpdater</Name><Settings>module.xml</Settings></Module>"
                            "<DataFolder>state</DataFolder><DeviceInfoFile>device-info</DeviceInfoFile>"
                            "<BootIdFile>boot-id</BootIdFile><LogSink>console</LogSink>"
                            "</ZelUpdatedSettingsDocument>"));
    }

    /// What is done once the log has a text, one step after the other.
    struct Step
    {
        const char* text;
        std::function<void(ProgramRun& run)> action;
    };

    /// Runs the program to its end; returns its exit code.
    int Run(std::vector<Step> steps)
    {
        ProgramRun run({ZEL_UPDATED_PROGRAM, "--settings", folder / "settings.xml"});
        std::size_t position = 0;
        const auto proceed = [&]
        {
            const std::size_t found =
                steps.empty() ? String::npos : run.GetErr().find(steps.front().text, position);
            if (found != String::npos)
            {
                position = found + 1;
                steps.front().action(run);
                steps.erase(steps.begin());
            }
        };
        run.Finish(proceed);
        EXPECT_TRUE(steps.empty()) << steps.front().text;
        log = run.GetErr();
        return run.GetStatus();
    }

    PrivateBus& bus = PrivateBus::OfProcess();
    const TemporaryFolder folder;
    String log;
};

} // namespace

TEST_F(BusLossTest, AtRestTheServiceWaitsForTheBusAndGoesOn)
{
    const auto kill = [this](ProgramRun&) { bus.Kill(); };
    const auto start = [this](ProgramRun&) { bus.Start(); };
    const auto end = [](ProgramRun& run) { run.Signal(SIGTERM); };
    EXPECT_EQ(Run({{"Serving as 'zel.SoftwareUpdate1'", kill},
                   {"The system bus is gone.", start},
                   {"Serving as 'zel.SoftwareUpdate1'", kill},
                   {"The system bus is gone.", start},
                   {"Serving as 'zel.SoftwareUpdate1'", end}}),
              0)
        << log;
}

TEST_F(BusLossTest, DuringAnInstallationTheServiceLeavesAndItsStateStays)
{
    {
        StatusStore store(folder / "state");
        ASSERT_TRUE(store.Begin(Id, {true, "this-boot", "A", 0, HistoryEntry::Install, "", "", ""}));
        store.WriteProperty(Id, "InstallerSlotName", "rootfs.0");
        store.SetPrepared(Id);
    }
    // Without RAUC it cannot be told how far the installation came, so it goes on running.
    EXPECT_EQ(Run({{"Serving as 'zel.SoftwareUpdate1'", [this](ProgramRun&) { bus.Kill(); }}}), 1) << log;
    EXPECT_THAT(log, HasSubstr("The system bus is gone during an installation."));
    EXPECT_EQ(StatusStore(folder / "state").GetComponent(Id).state, InstallationState::Installing);
    bus.Start();
}

} // namespace Zel::Host::Service

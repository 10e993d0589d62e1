#include "Service/StatusStore.h"

#include "Support/PrivateBus.h"
#include "Support/ProgramRun.h"

#include <gmock/gmock.h>

namespace Zel::Host::Service
{

/// The service's program with the module, on a bus without RAUC.
struct BusLossTest : testing::Test
{
    BusLossTest()
    {
        folder.Write("device-info", "General.ArticleName=" + Id + "\nGeneral.VendorName=Vendor\n");
        folder.Write("boot-id", "this-boot\n");
        folder.Write("module.xml", "<RaucUpdaterSettingsDocument><PendingUpdatePath>${DataFolder}/pending"
                                   "</PendingUpdatePath></RaucUpdaterSettingsDocument>");
        folder.Write("settings.xml",
                     "<ZelUpdatedSettingsDocument><Module><Library>" ZEL_MODULE_LIBRARY
                     "</Library><Name>RaucUpdater</Name><Settings>module.xml</Settings></Module>"
                     "<DataFolder>state</DataFolder><DeviceInfoFile>device-info</DeviceInfoFile>"
                     "<BootIdFile>boot-id</BootIdFile><LogSink>console</LogSink>"
                     "</ZelUpdatedSettingsDocument>");
    }

    Tests::Support::ProgramRun NewRun() const
    {
        return Tests::Support::ProgramRun({ZEL_UPDATED_PROGRAM, "--settings", folder / "settings.xml"});
    }

    inline static const String Id = "Controller 750";
    Tests::Support::PrivateBus& bus = Tests::Support::PrivateBus::OfProcess();
    const Tests::Support::TemporaryFolder folder;
};

TEST_F(BusLossTest, AtRestTheServiceWaitsForTheBusAndGoesOn)
{
    auto run = NewRun();
    for (int round = 0; round < 2; ++round)
    {
        run.Await("Serving as 'zel.SoftwareUpdate1'");
        bus.Kill();
        run.Await("The system bus is gone.");
        bus.Start();
    }
    run.Await("Serving as 'zel.SoftwareUpdate1'");
    run.Signal(SIGTERM);
    EXPECT_EQ(run.Finish(), 0) << run.GetErr();
}

TEST_F(BusLossTest, DuringAnInstallationTheServiceLeavesAndItsStateStays)
{
    {
        StatusStore store(folder / "state");
        ASSERT_TRUE(store.Begin(Id, {true, "this-boot", "A", 0, Api::Kind::Install, "", "", ""}));
        store.WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.0");
    }
    // Without RAUC it cannot be told how far the installation came, so it goes on running.
    auto run = NewRun();
    run.Await("Serving as 'zel.SoftwareUpdate1'");
    bus.Kill();
    EXPECT_EQ(run.Finish(), 1) << run.GetErr();
    EXPECT_THAT(run.GetErr(), testing::HasSubstr("The system bus is gone during an installation."));
    EXPECT_EQ(StatusStore(folder / "state").GetComponent(Id).state, ComponentRecord::State::Installing);
    bus.Start();
}

} // namespace Zel::Host::Service

#include "RaucBusTest.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucBusTest::RaucBusTest()
{
    DesktopBusConnection connection;
    EXPECT_TRUE(connection.Open());
    const String isEmpty = "trace DesktopBusConnection: There is no available signal.";
    for (int emptyRuns = 0; emptyRuns < 2;)
    {
        log->Clear();
        connection.ReadSignals();
        emptyRuns = log->GetLinesOf("DesktopBusConnection") == Lines{isEmpty} ? emptyRuns + 1 : 0;
    }
    connection.Close();
    log->Clear();
    received.Clear();
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

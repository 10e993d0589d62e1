#include "Service/Watchdog.h"

#include "Support/ComponentFixture.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>

namespace Zel::Host::Service
{

/// A service manager that wants to hear of the service every 20 ms.
class WatchdogTest : public testing::Test, protected LoopRunner
{
protected:
    WatchdogTest()
    {
        const String path = folder / "notify";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        // sockaddr is how bind knows every address.
        const auto* const name = reinterpret_cast<const sockaddr*>(&address); // NOLINT(*-reinterpret-cast)
        EXPECT_EQ(bind(manager, name, sizeof(address)), 0);
        setenv("NOTIFY_SOCKET", path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        setenv("WATCHDOG_USEC", "20000", 1);      // NOLINT(concurrency-mt-unsafe)
    }

    ~WatchdogTest() override
    {
        close(manager);
        unsetenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe)
        unsetenv("WATCHDOG_USEC"); // NOLINT(concurrency-mt-unsafe)
    }

    /// Returns how often the manager has heard of the service.
    [[nodiscard]] int Hear()
    {
        std::array<char, 64> text{};
        while (recv(manager, text.data(), text.size() - 1, 0) > 0)
        {
            heard += String(text.data()) == "WATCHDOG=1" ? 1 : 0;
            text.fill('\0');
        }
        return heard;
    }

    int heard = 0;
    const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
};

TEST_F(WatchdogTest, IsFedUntilAWorkerIsStuckAndWhenItGoesOn)
{
    std::chrono::milliseconds time = Watchdog::StuckTime - std::chrono::milliseconds(1);
    int asked = 0;
    const Watchdog watchdog(loop, [&] { return ++asked, time; });
    EXPECT_TRUE(RunUntil([this] { return Hear() == 2; }));
    time = Watchdog::StuckTime;
    asked = 0;
    EXPECT_TRUE(RunUntil([&] { return asked == 3; }));
    EXPECT_EQ(Hear(), 2);
    time = std::chrono::milliseconds(0);
    EXPECT_TRUE(RunUntil([this] { return Hear() == 3; }));
}

} // namespace Zel::Host::Service

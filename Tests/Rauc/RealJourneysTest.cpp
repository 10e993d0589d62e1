#include "Bus/RaucUpdater/Journey.h"
#include "Support/DeviceFolder.h"

#include <future>
#include <gtest/gtest.h>

namespace Zel::Tests
{

/// A device in a folder with the real RAUC, for a component of the article "Controller".
struct RealDevice : JourneyDevice
{
    RealDevice() { device.Run("boot"), device.Run("mark-good"); }

    [[nodiscard]] String MakeBundle(const String& version, const Lines& options) override
    {
        return device.MakeBundle(version, options);
    }

    String Run(const String& command, const Lines& arguments) override
    {
        if (command == "busy")
        {
            foreign = std::async(std::launch::async, [this, bundle = device.MakeBundle("9.0.0.0", {"--held"})]
                                 { return device.Run("install", {bundle}); });
            return device.Run("wait-held", {"10"});
        }
        if (command == "rest")
        {
            device.Run("release");
            return foreign.get();
        }
        return device.Run(command, arguments);
    }

private:
    Support::DeviceFolder device{{"--compatible", "Controller"}};
    /// An installation that nobody has told the module of.
    std::future<String> foreign;
};

struct RealJourneyTest : testing::TestWithParam<Journey>
{
};

TEST_P(RealJourneyTest, IsToldInOrder)
{
    RealDevice device;
    JourneyRun{device, GetParam()}.Run();
}

INSTANTIATE_TEST_SUITE_P(Real, RealJourneyTest, testing::ValuesIn(CommonJourneys()),
                         [](const auto& row) { return row.param.name; });

} // namespace Zel::Tests

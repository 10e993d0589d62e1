#include "Rauc/RealDevice.h"

#include <gtest/gtest.h>

namespace Zel::Tests
{

namespace
{

class RealJourneyTest : public testing::TestWithParam<Journey>
{
};

TEST_P(RealJourneyTest, IsToldInOrder)
{
    RealDevice device;
    JourneyRun(device, GetParam()).Run();
}

INSTANTIATE_TEST_SUITE_P(Real, RealJourneyTest, testing::ValuesIn(CommonJourneys()),
                         [](const auto& row) { return row.param.name; });

} // namespace

} // namespace Zel::Tests

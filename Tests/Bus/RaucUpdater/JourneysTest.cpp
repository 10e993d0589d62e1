#include "Bus/RaucUpdater/ScriptedJourneys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Zel::Tests
{

namespace
{

class CommonJourneyTest : public testing::TestWithParam<Journey>
{
};

TEST_P(CommonJourneyTest, IsToldInOrder)
{
    ScriptedDevice device(true);
    JourneyRun(device, GetParam()).Run();
}

class JourneyTest : public testing::TestWithParam<Journey>
{
};

TEST_P(JourneyTest, IsToldInOrder)
{
    ScriptedDevice device;
    JourneyRun(device, GetParam()).Run();
}

const auto NameOf = [](const auto& row) { return row.param.name; };

INSTANTIATE_TEST_SUITE_P(Verdict, JourneyTest, testing::ValuesIn(VerdictJourneys()), NameOf);
INSTANTIATE_TEST_SUITE_P(Revert, JourneyTest, testing::ValuesIn(RevertJourneys()), NameOf);
INSTANTIATE_TEST_SUITE_P(Refusal, JourneyTest, testing::ValuesIn(RefusalJourneys()), NameOf);
INSTANTIATE_TEST_SUITE_P(Answer, JourneyTest, testing::ValuesIn(AnswerJourneys()), NameOf);
INSTANTIATE_TEST_SUITE_P(Store, JourneyTest, testing::ValuesIn(StoreJourneys()), NameOf);
INSTANTIATE_TEST_SUITE_P(Scripted, CommonJourneyTest, testing::ValuesIn(CommonJourneys()), NameOf);

} // namespace

} // namespace Zel::Tests

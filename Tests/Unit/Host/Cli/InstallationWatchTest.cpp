#include "Cli/InstallationWatch.h"

#include <gtest/gtest.h>

#include <vector>

namespace Zel::Host::Cli
{

namespace
{

using Phase = InstallationPhase;

const Verdict Earlier = {"succeeded", "1.0.0.0", "", 1000};
const Verdict Good = {"succeeded", "1.1.0.0", "", 2000};
const Verdict Bad = {"failed", "1.1.0.0", "reason kept", 2000};
const Verdict Back = {"failed", "1.0.0.0", "The device did not boot the other slot and is still on slot 'a'.",
                      2000};

struct Step
{
    String state;
    String message;
    Verdict verdict;
    bool accepted;
    Phase phase;
};

ComponentState ToState(const Step& step)
{
    ComponentState state;
    state.state = step.state;
    state.message = step.message;
    state.lastVerdict = step.verdict;
    return state;
}

void ExpectPhases(const std::vector<Step>& steps)
{
    InstallationWatch watch(ToState({"idle", "old", Earlier, false, Phase::Running}));
    for (const Step& step : steps)
    {
        watch.Observe(ToState(step), step.accepted);
        EXPECT_EQ(static_cast<int>(watch.GetPhase()), static_cast<int>(step.phase))
            << step.state << ", " << step.message;
        EXPECT_EQ(watch.IsOpen(), step.phase == Phase::Running || step.phase == Phase::Restarting);
    }
}

TEST(InstallationWatchTest, FollowsAnInstallationToItsEnd)
{
    const String reboot = "The device is going to reboot.";
    ExpectPhases({{"idle", "late change of the versions", Earlier, false, Phase::Running},
                  {"installing", "", Earlier, false, Phase::Running},
                  {"installing", "Copying image", Earlier, true, Phase::Running},
                  {"installing", reboot, Earlier, true, Phase::Restarting},
                  {"failed", reboot, Bad, true, Phase::Failed}});
    ExpectPhases({{"installing", "Failed to reboot device. The restart must be triggered manually.", Earlier,
                   true, Phase::RestartByHand}});
    ExpectPhases({{"failed", "Installation error", Bad, true, Phase::Failed}});
    ExpectPhases({{"failed", "", Back, true, Phase::SwitchedBack}});
    ExpectPhases({{"idle", "", Good, true, Phase::Succeeded}});
    ExpectPhases(
        {{"installing", "", Earlier, false, Phase::Running}, {"idle", "", Earlier, true, Phase::Ended}});
}

TEST(InstallationWatchTest, TakesTheReasonFromTheMessageOrElseFromTheNewVerdict)
{
    InstallationWatch watch(ToState({"idle", "", Earlier, false, Phase::Running}));
    watch.Observe(ToState({"failed", "told", Bad, true, Phase::Failed}), true);
    EXPECT_EQ(watch.GetReason(), "told");
    watch.Observe(ToState({"failed", "", Bad, true, Phase::Failed}), true);
    EXPECT_EQ(watch.GetReason(), "reason kept");
    watch.Observe(ToState({"failed", "", Earlier, true, Phase::Failed}), true);
    EXPECT_EQ(watch.GetReason(), "");
}

} // namespace

} // namespace Zel::Host::Cli

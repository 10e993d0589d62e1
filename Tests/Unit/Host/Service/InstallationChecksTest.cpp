#include "Service/InstallationChecks.h"

#include <gmock/gmock.h>

#include <functional>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using testing::HasSubstr;

namespace
{

RaucSlot MakeSlot(const String& name, const char* state, const char* status)
{
    return {name, {{"state", state}, {"class", "rootfs"}, {"boot-status", status}}};
}

InspectionFacts GoodFacts()
{
    InspectionFacts facts;
    facts.rauc = RaucState::Resting;
    facts.bundle = RaucBundle{"2.0.0.0", "Controller"};
    facts.deviceCompatible = "Controller";
    facts.slots = {MakeSlot("rootfs.1", "inactive", "bad"), MakeSlot("rootfs.0", "booted", "good")};
    facts.runningVersion = "1.0.0.0";
    facts.now = 1'800'000'000'000'000;
    return facts;
}

} // namespace

TEST(InstallationChecksTest, EachObstacleHasItsGradeAndItsRemedy)
{
    struct Row
    {
        const char* name;
        const char* grade;
        std::function<void(InspectionFacts& facts)> change;
        const char* text;
    };

    const std::vector<Row> rows = {
        {"signature", "fail", [](auto& facts) { facts.bundle.reset(), facts.refusal = "rauc info error"; },
         "RAUC refuses the bundle: rauc info error. Use one"},
        {"signature", "warn", [](auto& facts) { facts.bundle.reset(); }, "was not asked"},
        {"compatible", "fail", [](auto& facts) { facts.deviceCompatible = "Other"; },
         "The bundle is for 'Controller', this device is 'Other'."},
        {"compatible", "warn", [](auto& facts) { facts.bundle.reset(); }, "did not tell"},
        {"version", "warn", [](auto& facts) { facts.runningVersion = "2.0.0.0"; }, "is running already"},
        {"version", "warn", [](auto& facts) { facts.pendingVersion = "2.0.0.0"; }, "is pending already"},
        {"version", "fail", [](auto& facts) { facts.bundle->version = String(512, '1'); }, "512 characters"},
        {"version", "pass", [](auto& facts) { facts.bundle->version = String(511, '1'); }, ""},
        {"space", "fail", [](auto& facts) { facts.roomMissing = "Full."; }, "Full. Make room."},
        {"rauc", "fail", [](auto& facts) { facts.rauc = RaucState::Busy; }, "Wait until it is done."},
        {"rauc", "fail", [](auto& facts) { facts.rauc = RaucState::Absent; }, "Start it."},
        {"rauc", "fail", [](auto& facts) { facts.rauc = RaucState::Silent; }, "does not answer"},
        {"booted-slot", "warn", [](auto& facts) { facts.slots[1].texts["boot-status"] = "bad"; },
         "'rootfs.0' is marked bad"},
        {"booted-slot", "fail", [](auto& facts) { facts.slots.pop_back(); }, "does not know which slot"},
        {"booted-slot", "warn", [](auto& facts) { facts.slots.clear(); }, "did not tell its slots"},
        {"other-slot", "fail", [](auto& facts) { facts.slots[0].texts["class"] = "data"; },
         "no other slot of the class 'rootfs'"},
        {"clock", "warn", [](auto& facts) { facts.now = 0; }, "1970-01-01"},
        {"state", "fail", [](auto& facts) { facts.state = InstallationState::Failed; }, "'resume'"},
        {"restart", "fail", [](auto& facts) { facts.restartObstacle = "No restart."; }, "No restart."},
    };
    for (const Check& check : InstallationChecks::Judge(GoodFacts()))
    {
        EXPECT_EQ(check.grade, "pass") << check.name << ": " << check.text;
    }
    for (const Row& row : rows)
    {
        InspectionFacts facts = GoodFacts();
        row.change(facts);
        for (const Check& check : InstallationChecks::Judge(facts))
        {
            if (check.name == row.name)
            {
                EXPECT_EQ(check.grade, row.grade) << check.text;
                EXPECT_THAT(check.text, HasSubstr(row.text));
            }
        }
    }
}

} // namespace Zel::Host::Service

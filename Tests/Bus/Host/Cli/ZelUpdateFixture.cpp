#include "Bus/Host/Cli/ZelUpdateFixture.h"

#include "Cli/Printable.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>

namespace Zel::Tests::Bus
{

namespace
{

/// Checks that every leaf of the object stands in `plain`, words about the call itself aside.
void ExpectFacts(const nlohmann::json& value, const String& plain)
{
    static const std::set<String> About = {"schema", "command", "exitCode", "outcome", "error", "component"};
    for (const auto& [name, member] : value.items())
    {
        if (member.is_structured())
        {
            ExpectFacts(member, plain);
        }
        else if (!member.is_null() && !member.is_boolean() &&
                 !(value.contains("schema") && About.contains(name)))
        {
            const String text = member.is_string() ? Host::Cli::Printable(member) : member.dump();
            EXPECT_THAT(plain, testing::HasSubstr(text)) << name;
        }
    }
}

} // namespace

ZelUpdateFixture::ZelUpdateFixture()
{
    folder.Write("a.raucb", "a bundle");
    Prepare({});
}

std::vector<String> ZelUpdateFixture::ToCall(const String& words) const
{
    std::vector<String> call = {ZEL_UPDATE_PROGRAM};
    std::istringstream stream(words);
    for (String word; stream >> word;)
    {
        call.push_back(word == "FILE" ? folder / "a.raucb" : word);
    }
    return call;
}

nlohmann::json ZelUpdateFixture::Running(int percent, const String& message)
{
    return {{"State", "installing"}, {"Message", message}, {"Progress", {percent, message, 1}}};
}

void ZelUpdateFixture::Prepare(const World& world)
{
    service.Appear();
    const Json idle =
        R"({"State":"idle", "Message":"", "Progress":[0, "", 0], "Revertible":false, "NextStart":0,
        "CurrentVersion":"1.0.0.0", "PendingVersion":"1.1.0.0", "FallbackVersion":"", "BootId":"0e1b2c",
        "VersionsTime":1795244400000000,
        "LastVerdict":["succeeded", "1.0.0.0", "", 1795244400000000]})"_json;
    service.Change(idle);
    service.Change(world.properties.is_null() ? Json::object() : world.properties);
    service.On("History", {Service::Answers({Json::array()})});
    for (const auto& [member, script] : world.scripts)
    {
        service.On(member, script);
    }
}

void ZelUpdateFixture::Check(const String& call, int status, const String& out, const String& err,
                             const World& world)
{
    SCOPED_TRACE(call + " = " + std::to_string(status));
    const std::regex unsteady(" \\(\\d+:\\d\\d[^)]*\\)(?=\n)|" + folder.GetPath() + "/");
    Prepare(world);
    ProgramRun plain(ToCall(call), ProgramRun::Output::Pipes, {}, "a bundle");
    plain.Finish();
    EXPECT_EQ(plain.GetStatus(), status);
    EXPECT_EQ(std::regex_replace(plain.GetOut(), unsteady, ""), out);
    EXPECT_EQ(plain.GetErr(), err);
    std::vector<String> calls = service.TakeCalls();
    std::erase(calls, "History 20"); // for the remaining time
    EXPECT_EQ(Join(calls, "; "), world.calls);

    Prepare(world);
    ProgramRun run(ToCall(call + " --json"), ProgramRun::Output::Pipes, {}, "a bundle");
    run.Finish();
    EXPECT_EQ(run.GetStatus(), status);
    EXPECT_EQ(run.GetErr(), err);
    EXPECT_EQ(service.TakeCalls(), calls);
    Json object = Json::parse(run.GetOut());
    Json expected = object;
    expected.merge_patch(world.facts.is_null() ? Json::object() : world.facts);
    expected["exitCode"] = status;
    EXPECT_EQ(object, expected);
    if (call.ends_with("--quiet") && err.empty())
    {
        object.erase("summary");
        object.erase("next");
    }
    ExpectFacts(object, plain.GetOut() + err);
}

} // namespace Zel::Tests::Bus

#pragma once

#include "Support/ProgramRun.h"
#include "Support/ScriptedUpdateService.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sstream>

namespace Zel::Tests::Bus
{

/// Runs the real program as a child against a scripted service on the process's private bus.
class ZelUpdateFixture : public testing::Test
{
protected:
    using ProgramRun = Support::ProgramRun;
    using Service = Support::ScriptedUpdateService;
    using Json = Service::Json;
    using Script = Service::Script;

    ZelUpdateFixture()
    {
        folder.Write("a.raucb", "a bundle");
        Prepare();
    }

    /// Returns the program's path and the arguments, given as words. "FILE" is a file with "a bundle" in it.
    [[nodiscard]] std::vector<String> ToCall(const String& words) const
    {
        std::vector<String> call = {ZEL_UPDATE_PROGRAM};
        std::istringstream stream(words);
        for (String word; stream >> word;)
        {
            call.push_back(word == "FILE" ? folder / "a.raucb" : word);
        }
        return call;
    }

    /// Lets the service be at rest, without a history.
    void Prepare()
    {
        service.Appear(
            R"({"State":"idle", "Message":"", "Progress":[0, "", 0], "Revertible":false, "NextStart":0,
            "CurrentVersion":"1.0.0.0", "PendingVersion":"1.1.0.0", "FallbackVersion":"", "BootId":"0e1b2c",
            "VersionsTime":1795244400000000,
            "LastVerdict":["succeeded", "1.0.0.0", "", 1795244400000000]})"_json);
        service.On("History", {Service::Answers({Json::array()})});
    }

    /// Returns the properties of an installation that runs.
    [[nodiscard]] static Json Running(int percent, const String& message)
    {
        return {{"State", "installing"}, {"Message", message}, {"Progress", {percent, message, 1}}};
    }

    Service service;
    const Support::TemporaryFolder folder;
};

} // namespace Zel::Tests::Bus

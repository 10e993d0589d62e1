#pragma once

#include "Support/ProgramRun.h"
#include "Support/ScriptedUpdateService.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

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

    ZelUpdateFixture();

    /// What a call meets, and what it causes.
    struct World
    {
        /// The service's properties besides those of every test.
        Json properties = Json::object();
        std::map<String, Script> scripts = {};
        /// All calls that the service gets, reading properties aside, with "; " between them.
        String calls = {};
        /// Facts of the JSON object.
        Json facts = Json::object();
    };

    /// Runs a call, given as words, in words and as JSON, and checks that both end with `status` and say the
    /// same. `out` and `err` are all that is written, without spans of time. "FILE" is a file with "a bundle"
    /// in it, as standard input has.
    void Check(const String& call, int status, const String& out, const String& err, const World& world);

    /// Returns the program's path and the arguments.
    [[nodiscard]] std::vector<String> ToCall(const String& words) const;

    void Prepare(const World& world);

    /// Returns the properties of an installation that runs.
    [[nodiscard]] static Json Running(int percent, const String& message);

    Service service;
    const Support::TemporaryFolder folder;
};

} // namespace Zel::Tests::Bus

#pragma once

#include "Support/PrivateBus.h"
#include "Support/ProgramRun.h"
#include "Support/ScriptedUpdateService.h"

#include <gtest/gtest.h>

#include <vector>

namespace Zel::Tests::Bus
{

/// Runs the real program as a child against a scripted service on the process's private bus.
class ZelUpdateFixture : public testing::Test
{
protected:
    using State = Support::ScriptedUpdateService::ComponentState;

    /// The updater's last message before the restart.
    inline static const String Reboot = "The device is going to reboot.";

    ZelUpdateFixture()
    {
        service.state.currentVersion = "1.0.0.0";
        service.state.pendingVersion = "1.1.0.0";
        service.state.lastVerdict = {"succeeded", "1.0.0.0", "", 1'795'244'400'000'000};
    }

    static std::vector<String> Call(std::vector<String> arguments)
    {
        arguments.insert(arguments.begin(), ZEL_UPDATE_PROGRAM);
        return arguments;
    }

    void Finish(Support::ProgramRun& run)
    {
        run.Finish([this] { return service.GetPollDescriptor(); }, [this] { service.Serve(); });
    }

    /// Announces an installation's state, message and progress.
    void Progress(int percent, const String& message)
    {
        service.Change({"State", "Message", "Progress"},
                       [&](State& state)
                       {
                           state.state = State::Installing;
                           state.progressPercent = percent;
                           state.message = state.progressText = message;
                       });
    }

    /// Installs up to the ordered restart as soon as it is asked for, and leaves the bus.
    void ScriptGoodInstallation()
    {
        service.On("Install",
                   [this](sd_bus_message& call)
                   {
                       Progress(0, "Installing");
                       service.Reply(call);
                       Progress(46, "Copying image to rootfs.1");
                       Progress(100, "Installing done.");
                       Progress(100, Reboot);
                       service.Vanish();
                   });
    }

    Support::PrivateBus& bus = Support::PrivateBus::OfProcess();
    Support::ScriptedUpdateService service;
};

} // namespace Zel::Tests::Bus

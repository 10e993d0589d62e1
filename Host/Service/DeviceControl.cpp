#include "Service/DeviceControl.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <system_error>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

/// What a program is started with: a session of its own, the default signals and no standard input.
class SpawnOptions
{
public:
    SpawnOptions()
    {
        posix_spawnattr_init(&attributes);
        posix_spawn_file_actions_init(&actions);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setflags(&attributes,
                                 POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }

    ~SpawnOptions()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }

    SpawnOptions(const SpawnOptions&) = delete;
    SpawnOptions& operator=(const SpawnOptions&) = delete;

    [[nodiscard]] int Spawn(const std::vector<String>& command, pid_t& child) const
    {
        std::vector<char*> arguments;
        arguments.reserve(command.size() + 1);
        for (const String& argument : command)
        {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        return posix_spawnp(&child, arguments.front(), &actions, &attributes, arguments.data(), environ);
    }

private:
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_t actions{};
};

} // namespace

DeviceControl::DeviceControl(EventLoop& loop, std::vector<String> command, Handlers handlers)
    : loop(loop), command(std::move(command)), handlers(std::move(handlers))
{
}

DeviceControl::~DeviceControl() = default;

void DeviceControl::RestartDevice()
{
    // Before anything can take the device down.
    handlers.ordered();
    if (!command.empty())
    {
        StartCommand();
        return;
    }
    loop.Post(
        [this]
        {
            Log(LogLevel::Info, "Asking logind for a restart of the device.");
            handlers.askLogind();
        });
}

void DeviceControl::StartCommand()
{
    Log(LogLevel::Info, "Restarting the device: {0}", Join(command, " "));
    pid_t child = 0;
    if (const int error = SpawnOptions().Spawn(command, child); error != 0)
    {
        loop.Post(
            [this, error]
            {
                ReportFailure(Format("Failed to start '{0}': {1}", command.front(),
                                     std::generic_category().message(error)));
            });
        return;
    }
    loop.Post([this, child]
              { loop.ReapChild(child, [this](int waitStatus) { OnCommandEnded(waitStatus); }); });
}

String DeviceControl::FindObstacle() const
{
    if (command.empty())
    {
        return {};
    }
    const String& program = command.front();
    // As posix_spawnp() searches it.
    const char* path = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe) - nothing changes the environment
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    bool found = program.find('/') != String::npos && access(program.c_str(), X_OK) == 0;
    for (String folder; !found && program.find('/') == String::npos && std::getline(folders, folder, ':');)
    {
        found = access(Format("{0}/{1}", folder, program).c_str(), X_OK) == 0;
    }
    return found ? String()
                 : Format("The restart command '{0}' cannot be executed. Mend the settings.", program);
}

void DeviceControl::OnCommandEnded(int waitStatus) const
{
    if (WIFSIGNALED(waitStatus))
    {
        ReportFailure(Format("'{0}' was ended by signal {1}.", command.front(), WTERMSIG(waitStatus)));
    }
    else if (WEXITSTATUS(waitStatus) != 0)
    {
        ReportFailure(Format("'{0}' ended with exit code {1}.", command.front(), WEXITSTATUS(waitStatus)));
    }
}

void DeviceControl::ReportFailure(const String& reason) const
{
    Log(LogLevel::Error, "The device could not be restarted. {0}", reason);
    handlers.failed(reason);
}

} // namespace Zel::Host::Service

#include "Cli/Session.h"

#include "Cli/BusError.h"
#include "Cli/Question.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <vector>

namespace Zel::Host::Cli
{

using System::Core::Format;

Session::Session(const Arguments& arguments, Output& output, const Terminal& terminal)
    : arguments(arguments), output(output), terminal(terminal)
{
}

BusClient& Session::GetClient()
{
    if (!client)
    {
        client.emplace(interrupts, terminal.canAsk);
    }
    return *client;
}

BusClient& Session::Connect()
{
    BusClient& connected = GetClient();
    const std::vector<String> chosen = Choose(connected.ReadService().components);
    if (chosen.size() > 1)
    {
        throw CommandError(ExitCode::Usage, "there are several components: choose one with --component: '" +
                                                Join(chosen, "', '") + "'");
    }
    connected.Select(chosen.front());
    return connected;
}

BusClient& Session::Await(BusClient::Clock::time_point deadline)
{
    const auto limit = BusClient::Clock::now() + LongestAbsence;
    while (true)
    {
        try
        {
            return Connect();
        }
        catch (const BusError& error)
        {
            if (!error.IsAbsence() || BusClient::Clock::now() >= limit)
            {
                throw;
            }
        }
        if (!GetClient().WaitForService(std::min(deadline, limit)) && deadline <= limit)
        {
            throw CommandError(ExitCode::TimedOut, "the time to wait is over, and the service is not there",
                               "'zelupdate wait' waits again.");
        }
    }
}

std::vector<String> Session::Choose(const std::vector<String>& components) const
{
    if (components.empty())
    {
        throw CommandError(ExitCode::NotFound, "the service has no component that could be updated",
                           "'journalctl -u zel-updated' tells why.");
    }
    if (!arguments.component)
    {
        return components;
    }
    const auto found = std::find_if(components.begin(), components.end(),
                                    [this](const String& component)
                                    { return ToLower(component) == ToLower(*arguments.component); });
    if (found == components.end())
    {
        throw CommandError(ExitCode::NotFound, Format("there is no component '{0}'", *arguments.component),
                           "The service has '" + Join(components, "', '") + "'.");
    }
    return {*found};
}

bool Session::Confirm(const String& question)
{
    return arguments.yes || !terminal.canAsk || AskOperator(output, interrupts, question);
}

} // namespace Zel::Host::Cli

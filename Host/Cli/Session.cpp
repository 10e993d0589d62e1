#include "Cli/Session.h"

#include "Cli/CommandError.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <vector>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

/// Returns the only component's ID, or the one of the list that `wanted` names in any letter case.
const String& Choose(const std::vector<String>& components, const std::optional<String>& wanted)
{
    if (components.empty())
    {
        throw CommandError(ExitCode::NotFound, "the service has no component that could be updated",
                           "'journalctl -u zel-updated' tells why.");
    }
    const String list = "'" + Join(components, "', '") + "'";
    if (!wanted && components.size() > 1)
    {
        throw CommandError(ExitCode::Usage,
                           "there are several components: choose one with --component: " + list);
    }
    const auto found = std::find_if(components.begin(), components.end(),
                                    [&wanted](const String& component)
                                    { return !wanted || ToLower(component) == ToLower(*wanted); });
    if (found == components.end())
    {
        throw CommandError(ExitCode::NotFound, Format("there is no component '{0}'", *wanted),
                           "The service has " + list + ".");
    }
    return *found;
}

} // namespace

Session::Session(const Arguments& arguments, Output& output, const Terminal& terminal)
    : arguments(arguments), output(output), terminal(terminal)
{
}

BusClient& Session::Connect()
{
    if (!client)
    {
        client.emplace(interrupts);
        client->Select(Choose(client->ReadComponents(), arguments.component));
    }
    return *client;
}

} // namespace Zel::Host::Cli

#include "Support/ComponentProperties.h"

#include "Zel/Exception.h"

#include <systemd/sd-bus.h>

#include <functional>
#include <map>

namespace Zel::Tests::Support
{

namespace
{

using Host::Cli::ComponentState;

void Check(int result)
{
    if (result < 0)
    {
        throw Exception("A property could not be appended: errno " + std::to_string(-result));
    }
}

using Appender = std::function<int(sd_bus_message* message, const ComponentState& state)>;

Appender Text(String ComponentState::*member)
{
    return [member](sd_bus_message* message, const ComponentState& state)
    { return sd_bus_message_append(message, "v", "s", (state.*member).c_str()); };
}

int AppendProgress(sd_bus_message* message, const ComponentState& state)
{
    return sd_bus_message_append(message, "v", "(isi)", state.progressPercent, state.progressText.c_str(), 1);
}

int AppendRevertible(sd_bus_message* message, const ComponentState& state)
{
    return sd_bus_message_append(message, "v", "b", state.revertible ? 1 : 0);
}

int AppendVerdict(sd_bus_message* message, const ComponentState& state)
{
    const auto& verdict = state.lastVerdict;
    return sd_bus_message_append(message, "v", "(ssst)", verdict.result.c_str(), verdict.version.c_str(),
                                 verdict.reason.c_str(), verdict.time);
}

int AppendNextStart(sd_bus_message* message, const ComponentState& state)
{
    return sd_bus_message_append(message, "v", "t", state.nextStart);
}

const std::map<String, Appender>& GetAppenders()
{
    static const std::map<String, Appender> Appenders = {
        {"Id", Text(&ComponentState::id)},
        {"State", Text(&ComponentState::state)},
        {"Message", Text(&ComponentState::message)},
        {"Progress", &AppendProgress},
        {"Revertible", &AppendRevertible},
        {"CurrentVersion", Text(&ComponentState::currentVersion)},
        {"PendingVersion", Text(&ComponentState::pendingVersion)},
        {"FallbackVersion", Text(&ComponentState::fallbackVersion)},
        {"BootId", Text(&ComponentState::bootId)},
        {"LastVerdict", &AppendVerdict},
        {"NextStart", &AppendNextStart},
    };
    return Appenders;
}

} // namespace

std::vector<String> ComponentProperties::GetNames()
{
    std::vector<String> names;
    for (const auto& [name, appender] : GetAppenders())
    {
        names.push_back(name);
    }
    return names;
}

void ComponentProperties::Append(sd_bus_message& message, const std::vector<String>& names,
                                 const ComponentState& state)
{
    Check(sd_bus_message_open_container(&message, 'a', "{sv}"));
    for (const String& name : names)
    {
        Check(sd_bus_message_open_container(&message, 'e', "sv"));
        Check(sd_bus_message_append(&message, "s", name.c_str()));
        Check(GetAppenders().at(name)(&message, state));
        Check(sd_bus_message_close_container(&message));
    }
    Check(sd_bus_message_close_container(&message));
}

} // namespace Zel::Tests::Support

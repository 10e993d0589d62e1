#pragma once

#include "Cli/ComponentState.h"

#include "Zel/String.h"

#include <vector>

struct sd_bus_message;

namespace Zel::Host::Cli
{

/// Reads what the service tells about its components from D-Bus messages. Everything throws `BusError` for a
/// message of another shape and leaves the out-parameter alone then.
class ComponentReader
{
public:
    /// Reads an `a{sv}` at the message's position into `state`. Properties that are not known here are
    /// skipped, so that a newer service can have more of them.
    static void ReadProperties(sd_bus_message& message, ComponentState& state);

    /// Reads the manager's properties (`a{sv}`) and returns the IDs of its components.
    [[nodiscard]] static std::vector<String> ReadComponentIds(sd_bus_message& message);

    /// Reads one text at the message's position.
    [[nodiscard]] static String ReadText(sd_bus_message& message);

    /// Returns the object path of a component.
    [[nodiscard]] static String ToPath(const String& id);
};

} // namespace Zel::Host::Cli

#pragma once

#include "Cli/ComponentState.h"

#include "Zel/String.h"

#include <vector>

struct sd_bus_message;

namespace Zel::Tests::Support
{

/// The properties of a component of the update service as they stand on the bus.
class ComponentProperties
{
public:
    [[nodiscard]] static std::vector<String> GetNames();

    /// Appends the properties of these names with their values as `a{sv}`. Throws `Exception`.
    static void Append(sd_bus_message& message, const std::vector<String>& names,
                       const Host::Cli::ComponentState& state);
};

} // namespace Zel::Tests::Support

#pragma once

#include "Cli/ComponentState.h"
#include "Cli/Report.h"

#include "Zel/String.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <vector>

namespace Zel::Host::Cli
{

/// The facts about a component, as lines and as JSON: the two say the same.
class Facts
{
public:
    /// Returns the lines "label: value", aligned, in a fixed order, made safe for a terminal.
    [[nodiscard]] static std::vector<String> ToLines(const ComponentState& state, FactSet facts);

    /// Adds the facts to a JSON object under their stable names. What there is not is null.
    static void AddTo(nlohmann::ordered_json& object, const ComponentState& state, FactSet facts);

    /// Returns a time in UTC as ISO 8601 in whole seconds; empty for 0 and for times after the year 9999.
    /// `microseconds` count from 1970.
    [[nodiscard]] static String ToTime(std::uint64_t microseconds);
};

} // namespace Zel::Host::Cli

#pragma once

#include "Cli/ComponentState.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Returns one sentence: what the operator can do, or what happens by itself, in this state.
[[nodiscard]] String DescribeNextStep(const ComponentState& state);

} // namespace Zel::Host::Cli

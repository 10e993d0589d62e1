#pragma once

#include "Zel/String.h"

#include <vector>

namespace Zel::Tests::Support
{

/// A call as it arrived.
struct ScriptedCall
{
    /// For example "Info", or "Get" for a property.
    String member;
    /// As text; what is no string is written like [{ignore-compatible=false}].
    std::vector<String> arguments;
    /// The signature of the arguments, for example "sa{sv}".
    String signature;

    bool operator==(const ScriptedCall&) const = default;
};

} // namespace Zel::Tests::Support

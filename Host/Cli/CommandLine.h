#pragma once

#include "Cli/Arguments.h"

#include "Zel/String.h"

#include <variant>
#include <vector>

namespace Zel::Host::Cli
{

/// Takes the program's arguments apart.
class CommandLine
{
public:
    /// Returns the call, or the text to print instead (help or version). `arguments` are those behind the
    /// program's name. Throws `CommandError` (usage) with one line for a wrong call.
    [[nodiscard]] static std::variant<Arguments, String> Parse(const std::vector<String>& arguments);
};

} // namespace Zel::Host::Cli

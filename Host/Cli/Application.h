#pragma once

#include "Cli/Terminal.h"

#include "Zel/String.h"

#include <ostream>
#include <vector>

namespace Zel::Host::Cli
{

/// The whole program on given streams.
class Application
{
public:
    /// Runs one call and returns the process's exit code. `arguments` are those behind the program's name.
    /// Never throws; ends the process itself when a signal ended the command.
    [[nodiscard]] static int Run(const std::vector<String>& arguments, std::ostream& out, std::ostream& err,
                                 const Terminal& terminal) noexcept;
};

} // namespace Zel::Host::Cli

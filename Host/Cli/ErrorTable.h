#pragma once

#include "Cli/ExitCode.h"

#include "Zel/String.h"

#include <span>
#include <string_view>

namespace Zel::Host::Cli
{

/// What a D-Bus error means to the operator.
struct ErrorRow
{
    /// The error's name; one that ends in "." stands for all names that begin with it.
    std::string_view name;
    ExitCode exitCode;
    std::string_view meaning;
    /// What to do now, one sentence.
    std::string_view hint;
};

/// The one place that maps D-Bus errors to exit codes and hints.
class ErrorTable
{
public:
    [[nodiscard]] static std::span<const ErrorRow> GetRows() noexcept;

    /// Returns the row of an error; a name without one gives the row of a plain failure. Never fails.
    [[nodiscard]] static const ErrorRow& Find(std::string_view busErrorName) noexcept;
};

} // namespace Zel::Host::Cli

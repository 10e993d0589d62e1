#pragma once

#include "Cli/Arguments.h"
#include "Cli/BusClient.h"
#include "Cli/InterruptSignals.h"
#include "Cli/Output.h"
#include "Cli/Terminal.h"

#include <optional>

namespace Zel::Host::Cli
{

/// What a running verb works with.
class Session
{
public:
    /// `arguments` and `output` must live longer.
    Session(const Arguments& arguments, Output& output, const Terminal& terminal);

    [[nodiscard]] const Arguments& GetArguments() const noexcept { return arguments; }

    [[nodiscard]] Output& GetOutput() noexcept { return output; }

    [[nodiscard]] const Terminal& GetTerminal() const noexcept { return terminal; }

    /// Returns the client with the component selected that the arguments name. The first call connects.
    /// Throws `BusError`, and `CommandError` when the component is unknown or not the only one.
    [[nodiscard]] BusClient& Connect();

private:
    const Arguments& arguments;
    Output& output;
    Terminal terminal;
    InterruptSignals interrupts;
    std::optional<BusClient> client;
};

} // namespace Zel::Host::Cli

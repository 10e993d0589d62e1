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
    /// How long a service that is not on the bus may take to come.
    static constexpr std::chrono::seconds LongestAbsence{90};

    /// `arguments` and `output` must live longer.
    Session(const Arguments& arguments, Output& output, const Terminal& terminal);

    [[nodiscard]] const Arguments& GetArguments() const noexcept { return arguments; }

    [[nodiscard]] Output& GetOutput() noexcept { return output; }

    [[nodiscard]] const Terminal& GetTerminal() const noexcept { return terminal; }

    [[nodiscard]] const InterruptSignals& GetInterrupts() const noexcept { return interrupts; }

    /// Returns the client without a component. The first call connects to the bus. Throws `BusError`.
    [[nodiscard]] BusClient& GetClient();

    /// Returns the client with the component selected that the arguments name. Throws `BusError`, and
    /// `CommandError` when the component is unknown or not the only one.
    [[nodiscard]] BusClient& Connect();

    /// The same, but waits for a service that is not on the bus, or has left it. Throws `CommandError` (timed
    /// out) when `deadline` passes, and `BusError` after the longest absence.
    [[nodiscard]] BusClient& Await(BusClient::Clock::time_point deadline);

    /// Returns the IDs of the components that the arguments name: all of them without a name.
    [[nodiscard]] std::vector<String> Choose(const std::vector<String>& components) const;

    /// Returns whether the operator, where one can be asked and was not told not to be, agrees.
    [[nodiscard]] bool Confirm(const String& question);

private:
    const Arguments& arguments;
    Output& output;
    Terminal terminal;
    InterruptSignals interrupts;
    std::optional<BusClient> client;
};

} // namespace Zel::Host::Cli

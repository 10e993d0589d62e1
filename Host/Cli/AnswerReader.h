#pragma once

#include "Cli/ComponentState.h"
#include "Cli/ServiceAnswers.h"

#include "Zel/String.h"

#include <vector>

struct sd_bus_message;

namespace Zel::Host::Cli
{

/// Reads the service's answers from D-Bus messages. Everything throws `BusError` for a message of another
/// shape and leaves the out-parameter alone then.
class AnswerReader
{
public:
    /// Reads a component's properties (`a{sv}`) into `state`; those that the message lacks stay.
    static void ReadProperties(sd_bus_message& message, ComponentState& state);

    /// Reads the manager's properties (`a{sv}`).
    [[nodiscard]] static ServiceDescription ReadService(sd_bus_message& message);

    /// Reads the answer of `Inspect`.
    [[nodiscard]] static BundleInspection ReadInspection(sd_bus_message& message);

    /// Reads the answer of `History`, the newest first.
    [[nodiscard]] static std::vector<PastInstallation> ReadHistory(sd_bus_message& message);

    /// Returns the object path of a component.
    [[nodiscard]] static String ToPath(const String& id);
};

} // namespace Zel::Host::Cli

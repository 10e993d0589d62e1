#pragma once

#include "Service/HistoryEntry.h"
#include "Service/InstallationChecks.h"

#include <vector>

struct sd_bus_message;

namespace Zel::Host::Service
{

/// Values of a component's answers that have parts, as zel.SoftwareUpdate1.xml describes them. Each function
/// returns a negated errno on failure.
class ComponentAnswers
{
public:
    [[nodiscard]] static int Append(sd_bus_message* answer, const Inspection& inspection);
    [[nodiscard]] static int Append(sd_bus_message* answer, const std::vector<HistoryEntry>& entries);
};

} // namespace Zel::Host::Service

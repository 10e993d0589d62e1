#pragma once

#include "Service/ComponentSnapshot.h"
#include "Service/HistoryEntry.h"
#include "Service/InstallationChecks.h"

#include <vector>

struct sd_bus_message;

namespace Zel::Host::Service
{

/// What a component answers. Values that have parts are written as zel.SoftwareUpdate1.xml describes them;
/// `Append` returns a negated errno on failure.
class ComponentAnswers
{
public:
    [[nodiscard]] static int Append(sd_bus_message* answer, const Inspection& inspection);
    [[nodiscard]] static int Append(sd_bus_message* answer, const std::vector<HistoryEntry>& entries);

    /// Says what a component is about that refuses requests therefore, and what to do about it.
    [[nodiscard]] static String DescribeProgress(const ComponentSnapshot& snapshot);
};

} // namespace Zel::Host::Service

#include "Service/ComponentSnapshot.h"

namespace Zel::Host::Service
{

std::vector<String> ComponentSnapshot::GetChanges(const ComponentSnapshot& earlier) const
{
    std::vector<String> changes;
    const auto compare = [&changes](const char* name, bool equal)
    {
        if (!equal)
        {
            changes.emplace_back(name);
        }
    };
    compare("Activity", activity == earlier.activity);
    compare("State", state == earlier.state);
    compare("Message", message == earlier.message);
    compare("Progress", progress == earlier.progress && progressText == earlier.progressText);
    compare("Revertible", revertible == earlier.revertible);
    compare("CurrentVersion", currentVersion == earlier.currentVersion);
    compare("PendingVersion", pendingVersion == earlier.pendingVersion);
    compare("FallbackVersion", fallbackVersion == earlier.fallbackVersion);
    compare("VersionsTime", versionsTime == earlier.versionsTime);
    compare("LastVerdict", lastVerdict == earlier.lastVerdict);
    compare("NextStart", nextStart == earlier.nextStart);
    return changes;
}

} // namespace Zel::Host::Service

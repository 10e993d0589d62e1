#pragma once

#include "Service/RaucAnswer.h"
#include "Service/RaucClient.h"

#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/Services/SoftwareUpdate/InstallationState.h"
#include "Zel/String.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// What is known of a bundle and of the device before an installation.
struct InspectionFacts
{
    RaucState rauc = RaucState::Absent;
    /// What RAUC says of the bundle, or why it refuses it; neither where RAUC was not asked.
    std::optional<RaucBundle> bundle;
    String refusal;
    /// Why there is no room for the bundle; empty where there is.
    String roomMissing;
    String deviceCompatible;
    std::vector<RaucSlot> slots;
    /// The slot that is booted next; empty where RAUC did not tell.
    String primarySlot;
    String runningVersion;
    String pendingVersion;
    Services::SoftwareUpdate::InstallationState state = Services::SoftwareUpdate::InstallationState::Idle;
    /// Why the device could not be restarted; empty where nothing is known to stand against it.
    String restartObstacle;
    /// Microseconds since 1970 in UTC.
    std::int64_t now = 0;
};

/// One reason why an installation would fail or need care, or that it would not.
struct Check
{
    String name;
    /// One of `Api::Grade`.
    String grade;
    /// What is the case, and what to do about it; empty for a pass.
    String text;
};

/// What a look at a bundle and at the device yields.
struct Inspection
{
    String version;
    String compatible;
    String deviceCompatible;
    /// Whether RAUC trusts the bundle and it was made for this device; not known where RAUC did not tell.
    std::optional<bool> fits;
    /// Bytes; 0 where there was no room to look at it.
    std::uint64_t size = 0;
    std::vector<Check> checks;
};

/// Decides what an installation of a bundle would meet.
class InstallationChecks
{
public:
    /// The longest version that an updater module knows, in characters.
    static constexpr std::size_t MaximumVersion =
        Services::SoftwareUpdate::IUpdaterModule::SoftwareVersionType::Text::Capacity;

    /// Says what is wrong with a version, whatever the bundle and the device; empty where nothing is.
    [[nodiscard]] static String FindVersionFault(const String& version);

    /// Returns one check for each subject, in a fixed order.
    [[nodiscard]] static std::vector<Check> Judge(const InspectionFacts& facts);
};

} // namespace Zel::Host::Service

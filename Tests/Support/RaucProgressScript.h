#pragma once

#include "Zel/String.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Zel::Tests::Support
{

/// A value of RAUC's property "Progress".
struct RaucProgressStep
{
    /// In percent.
    std::int32_t percentage;
    String message;
    std::int32_t nestingDepth;
};

/// What RAUC tells of its progress, in order, as recorded from RAUC 1.8 and 1.15.2.
class RaucProgressScript
{
public:
    using Steps = std::vector<RaucProgressStep>;

    /// Which RAUC is imitated: 18 steps, or 71.
    enum class Edition
    {
        Rauc18,
        Rauc115
    };

    /// The ten steps of "Info" on a plain bundle.
    [[nodiscard]] static Steps Info();

    /// The steps of a successful installation into `slotName`.
    [[nodiscard]] static Steps Installation(Edition edition, const String& slotName, const String& bootname);

    /// The steps of an installation that fails while the bundle is checked, but the last one.
    [[nodiscard]] static Steps FailedInstallation();

    /// How many steps come before the bundle is looked at.
    static constexpr std::size_t PreparationSteps = 3;
};

} // namespace Zel::Tests::Support

#pragma once

#include "RaucUpdater/Internal/DesktopBus/PropertyGetMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdint>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Progress": how far RAUC is; zero and empty until it was read.
class RaucProgressProperty : public PropertyGetMethod,
                             private System::Commons::Diagnostics::Logging::Loggable<RaucProgressProperty>
{
public:
    inline static const String PropertyName = "Progress";

    RaucProgressProperty();

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    ~RaucProgressProperty() override;

    /// In percent of the whole installation, 0 to 100.
    [[nodiscard]] std::int32_t GetPercentage() const noexcept { return percentage; }

    /// What RAUC is at, in its own words.
    [[nodiscard]] const String& GetMessage() const noexcept { return message; }

    /// How deep that step lies in the others, from 1.
    [[nodiscard]] std::int32_t GetNestingDepth() const noexcept { return nestingDepth; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucProgressProperty>::GetLogger;

    std::int32_t percentage = 0;
    String message;
    std::int32_t nestingDepth = 0;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#pragma once

#include "RaucUpdater/Internal/DesktopBus/PropertyGetMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Compatible": which bundles suit the system that runs; empty until it was read.
class RaucCompatibleProperty : public PropertyGetMethod,
                               private System::Commons::Diagnostics::Logging::Loggable<RaucCompatibleProperty>
{
public:
    inline static const String PropertyName = "Compatible";

    RaucCompatibleProperty();

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    ~RaucCompatibleProperty() override;

    [[nodiscard]] const String& GetCompatible() const noexcept { return compatible; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucCompatibleProperty>::GetLogger;

    String compatible;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

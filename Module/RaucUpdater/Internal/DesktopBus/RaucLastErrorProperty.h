#pragma once

#include "RaucUpdater/Internal/DesktopBus/PropertyGetMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "LastError": why the last installation failed, in RAUC's words; empty for none and until it was read.
class RaucLastErrorProperty : public PropertyGetMethod,
                              private System::Commons::Diagnostics::Logging::Loggable<RaucLastErrorProperty>
{
public:
    inline static const String PropertyName = "LastError";

    RaucLastErrorProperty();

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    ~RaucLastErrorProperty() override;

    [[nodiscard]] const String& GetMessage() const noexcept { return message; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucLastErrorProperty>::GetLogger;

    String message;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

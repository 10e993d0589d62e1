#pragma once

#include "RaucUpdater/Internal/DesktopBus/PropertyGetMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Operation": what RAUC does; empty until it was read.
class RaucOperationProperty : public PropertyGetMethod,
                              private System::Commons::Diagnostics::Logging::Loggable<RaucOperationProperty>
{
public:
    inline static const String PropertyName = "Operation";
    inline static const String OperationIdle = "idle";
    inline static const String OperationInstalling = "installing";

    RaucOperationProperty();

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    ~RaucOperationProperty() override;

    [[nodiscard]] const String& GetOperation() const noexcept { return operation; }

    [[nodiscard]] bool IsIdle() const { return operation == OperationIdle; }

    [[nodiscard]] bool IsInstalling() const { return operation == OperationInstalling; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucOperationProperty>::GetLogger;

    String operation;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

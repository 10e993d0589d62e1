#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "GetPrimary": reads the name of the slot that the bootloader tries next.
class RaucGetPrimaryMethod : public DesktopBusMethod,
                             private System::Commons::Diagnostics::Logging::Loggable<RaucGetPrimaryMethod>
{
public:
    inline static const String MethodName = "GetPrimary";

    RaucGetPrimaryMethod();

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~RaucGetPrimaryMethod() override;

    [[nodiscard]] const String& GetPrimary() const noexcept { return primary; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucGetPrimaryMethod>::GetLogger;
    using System::Commons::Diagnostics::Logging::Loggable<RaucGetPrimaryMethod>::Log;

    String primary;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

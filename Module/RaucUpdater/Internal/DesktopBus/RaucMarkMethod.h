#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Mark": gives a slot another state, for example "active"; reads which slot it was and what RAUC says of
/// it.
class RaucMarkMethod : public DesktopBusMethod,
                       private System::Commons::Diagnostics::Logging::Loggable<RaucMarkMethod>
{
public:
    inline static const String MethodName = "Mark";

    /// `slotIdentifier` is a slot name, "booted" or "other".
    RaucMarkMethod(String state, String slotIdentifier);

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~RaucMarkMethod() override;

    [[nodiscard]] const String& GetState() const noexcept { return state; }

    [[nodiscard]] const String& GetSlotIdentifier() const noexcept { return slotIdentifier; }

    [[nodiscard]] const String& GetSlotName() const noexcept { return slotName; }

    [[nodiscard]] const String& GetMessage() const noexcept { return message; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucMarkMethod>::GetLogger;
    using System::Commons::Diagnostics::Logging::Loggable<RaucMarkMethod>::Log;

    String state;
    String slotIdentifier;
    String slotName;
    String message;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

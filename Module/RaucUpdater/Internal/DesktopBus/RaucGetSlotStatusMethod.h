#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "RaucUpdater/Internal/DesktopBus/RaucSlotStatus.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <map>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "GetSlotStatus": reads the status of all slots. Of two slots with one name the first counts.
class RaucGetSlotStatusMethod
    : public DesktopBusMethod,
      private System::Commons::Diagnostics::Logging::Loggable<RaucGetSlotStatusMethod>
{
public:
    inline static const String MethodName = "GetSlotStatus";

    /// Slots by name, in byte-wise order of the names.
    using SlotStatusMap = std::map<String, RaucSlotStatus>;

    RaucGetSlotStatusMethod();

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~RaucGetSlotStatusMethod() override;

    [[nodiscard]] const SlotStatusMap& GetSlotStatus() const noexcept { return slotStatus; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucGetSlotStatusMethod>::GetLogger;
    using System::Commons::Diagnostics::Logging::Loggable<RaucGetSlotStatusMethod>::Log;

    [[nodiscard]] bool ReadSlot(const DesktopBusFieldReader& reader, const DesktopBusField& field);

    SlotStatusMap slotStatus;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

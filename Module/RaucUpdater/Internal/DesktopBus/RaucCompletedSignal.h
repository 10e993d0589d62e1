#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusSignal.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Event.h"

#include <cstdint>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Completed": RAUC's installation ended, well or badly. The event belongs to the process and is raised on
/// the signal listener's thread, with a signal that lives for the call only. Subscribe bound member
/// functions.
class RaucCompletedSignal : public DesktopBusSignal,
                            private System::Commons::Diagnostics::Logging::Loggable<RaucCompletedSignal>
{
public:
    inline static const String SignalInterface = DesktopBusManager::DesktopBusInterfaceRauc;
    inline static const String SignalName = "Completed";

    inline static System::Commons::Event<const RaucCompletedSignal&> OnCompleted;

    explicit RaucCompletedSignal(std::int32_t returnCode) noexcept;

    /// RAUC's result: 0 for success.
    [[nodiscard]] std::int32_t GetReturnCode() const noexcept { return returnCode; }

    /// Whether the installation succeeded.
    [[nodiscard]] bool HasCompleted() const noexcept { return returnCode == 0; }

    /// Reads a signal and raises the event; returns false, and raises nothing, for other contents.
    [[nodiscard]] static bool Notify(const DesktopBusMessage& message);

private:
    std::int32_t returnCode;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

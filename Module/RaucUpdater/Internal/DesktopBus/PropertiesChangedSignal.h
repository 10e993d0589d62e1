#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusSignal.h"
#include "RaucUpdater/Internal/DesktopBus/RaucLastErrorProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucOperationProperty.h"
#include "RaucUpdater/Internal/DesktopBus/RaucProgressProperty.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Event.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "PropertiesChanged": RAUC's properties changed. Its events belong to the process and are raised on the
/// signal listener's thread, with a property that lives for the call only. Subscribe bound member functions.
class PropertiesChangedSignal
    : public DesktopBusSignal,
      private System::Commons::Diagnostics::Logging::Loggable<PropertiesChangedSignal>
{
public:
    inline static const String SignalInterface = DesktopBusManager::DesktopBusInterfaceProperties;
    inline static const String SignalName = "PropertiesChanged";

    inline static System::Commons::Event<const RaucOperationProperty&> OnOperationChanged;
    inline static System::Commons::Event<const RaucProgressProperty&> OnProgressChanged;
    inline static System::Commons::Event<const RaucLastErrorProperty&> OnLastErrorChanged;

    /// Reads a signal and raises the events of the properties that it names, in its order. Returns false, and
    /// raises nothing, for the properties of another interface than RAUC's and for other contents.
    [[nodiscard]] static bool Notify(const DesktopBusMessage& message);

    /// The same for the signal's arguments. The first property that is unknown or cannot be read ends it with
    /// false; events for those before were raised then, those behind are not, which is meant.
    [[nodiscard]] static bool NotifyChangedRaucProperties(const std::vector<DesktopBusField>& fields);

private:
    [[nodiscard]] static bool NotifyChangedRaucProperty(const String& propertyName,
                                                        const DesktopBusField& propertyValue);
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

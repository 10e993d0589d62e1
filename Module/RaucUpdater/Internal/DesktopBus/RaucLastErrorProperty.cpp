#include "RaucUpdater/Internal/DesktopBus/RaucLastErrorProperty.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucLastErrorProperty::RaucLastErrorProperty()
    : PropertyGetMethod(DesktopBusManager::DesktopBusDestinationRauc,
                        DesktopBusManager::DesktopBusObjectPathRauc,
                        DesktopBusManager::DesktopBusInterfaceRauc, PropertyName)
{
}

RaucLastErrorProperty::~RaucLastErrorProperty() = default;

bool RaucLastErrorProperty::ReadFields(const std::vector<DesktopBusField>& fields)
{
    return ReadTextProperty(GetLogger(), fields, message, "Message={0}",
                            "Failed to get error message. Fields: {0}");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

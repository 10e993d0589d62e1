#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucCompatibleProperty::RaucCompatibleProperty()
    : PropertyGetMethod(DesktopBusManager::DesktopBusDestinationRauc,
                        DesktopBusManager::DesktopBusObjectPathRauc,
                        DesktopBusManager::DesktopBusInterfaceRauc, PropertyName)
{
}

RaucCompatibleProperty::~RaucCompatibleProperty() = default;

bool RaucCompatibleProperty::ReadFields(const std::vector<DesktopBusField>& fields)
{
    return ReadTextProperty(GetLogger(), fields, compatible, "Compatible={0}",
                            "Failed to get compatible. Fields: {0}");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

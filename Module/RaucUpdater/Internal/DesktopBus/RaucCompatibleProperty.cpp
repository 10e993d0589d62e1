#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucCompatibleProperty::RaucCompatibleProperty() : PropertyGetMethod(PropertyName) {}

RaucCompatibleProperty::~RaucCompatibleProperty() = default;

bool RaucCompatibleProperty::ReadFields(const std::vector<DesktopBusField>& fields)
{
    return ReadTextProperty(GetLogger(), fields, compatible, "Compatible={0}",
                            "Failed to get compatible. Fields: {0}");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

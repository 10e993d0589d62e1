#include "RaucUpdater/Internal/DesktopBus/RaucLastErrorProperty.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucLastErrorProperty::RaucLastErrorProperty() : PropertyGetMethod(PropertyName) {}

RaucLastErrorProperty::~RaucLastErrorProperty() = default;

bool RaucLastErrorProperty::ReadFields(const std::vector<DesktopBusField>& fields)
{
    return ReadTextProperty(GetLogger(), fields, message, "Message={0}",
                            "Failed to get error message. Fields: {0}");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

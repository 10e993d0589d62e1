#include "RaucUpdater/Internal/DesktopBus/RaucOperationProperty.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucOperationProperty::RaucOperationProperty() : PropertyGetMethod(PropertyName) {}

RaucOperationProperty::~RaucOperationProperty() = default;

bool RaucOperationProperty::ReadFields(const std::vector<DesktopBusField>& fields)
{
    return ReadTextProperty(GetLogger(), fields, operation, "operation={0}",
                            "Failed to get operation. Fields: {0}");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "RaucUpdater/Internal/DesktopBus/RaucProgressProperty.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucProgressProperty::RaucProgressProperty() : PropertyGetMethod(PropertyName) {}

RaucProgressProperty::~RaucProgressProperty() = default;

bool RaucProgressProperty::ReadFields(const std::vector<DesktopBusField>& fields)
{
    const DesktopBusFieldReader reader(GetLogger(), fields);
    const auto* content = EnterVariant(reader);
    if (content == nullptr)
    {
        return false;
    }
    const auto* members = content->PeekStruct();
    if (members == nullptr || members->empty())
    {
        return reader.Fail("Failed to enter struct. Fields: {0}");
    }
    return reader.Read(reader.At(members, 0), &DesktopBusField::TryGetInt32, percentage,
                       "Failed to get percentage. Fields: {0}") &&
           reader.Read(reader.At(members, 1), &DesktopBusField::TryGetString, message,
                       "Failed to get message. Fields: {0}") &&
           reader.Read(reader.At(members, 2), &DesktopBusField::TryGetInt32, nestingDepth,
                       "Failed to get nestingDepth. Fields: {0}");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

#include "RaucUpdater/Internal/DesktopBus/PropertiesChangedSignal.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

namespace
{

/// Reads a property's new value and raises its event.
template <typename Property>
[[nodiscard]] bool NotifyChanged(const System::Commons::Event<const Property&>& event,
                                 const DesktopBusField& propertyValue)
{
    Property property;
    if (!property.ReadFields(std::vector<DesktopBusField>(1, propertyValue)))
    {
        return false;
    }
    event.Raise(property);
    return true;
}

} // namespace

bool PropertiesChangedSignal::Notify(const DesktopBusMessage& message)
{
    const auto fields = message.ReadFields();
    const auto* interfaceName = fields.empty() ? nullptr : fields.front().PeekString();
    if (interfaceName == nullptr)
    {
        return false;
    }
    if (*interfaceName == DesktopBusManager::DesktopBusInterfaceRauc)
    {
        return NotifyChangedRaucProperties(fields);
    }
    Log(LogLevel::Trace, "Unsupported interface name: {0}", *interfaceName);
    return false;
}

bool PropertiesChangedSignal::NotifyChangedRaucProperties(const std::vector<DesktopBusField>& fields)
{
    const auto* changedProperties = fields.size() < 2 ? nullptr : fields[1].PeekArray();
    if (changedProperties == nullptr)
    {
        return false;
    }
    for (const auto& changedProperty : *changedProperties)
    {
        const auto* keyAndValue = changedProperty.PeekDictEntry();
        const auto* key =
            keyAndValue == nullptr || keyAndValue->size() < 2 ? nullptr : keyAndValue->front().PeekString();
        if (key != nullptr && !NotifyChangedRaucProperty(*key, (*keyAndValue)[1]))
        {
            return false;
        }
    }
    return true;
}

bool PropertiesChangedSignal::NotifyChangedRaucProperty(const String& propertyName,
                                                        const DesktopBusField& propertyValue)
{
    if (propertyName == RaucProgressProperty::PropertyName)
    {
        return NotifyChanged(OnProgressChanged, propertyValue);
    }
    if (propertyName == RaucLastErrorProperty::PropertyName)
    {
        return NotifyChanged(OnLastErrorChanged, propertyValue);
    }
    if (propertyName == RaucOperationProperty::PropertyName)
    {
        return NotifyChanged(OnOperationChanged, propertyValue);
    }
    Log(LogLevel::Debug, "Unsupported property: {0}", propertyName);
    return false;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus

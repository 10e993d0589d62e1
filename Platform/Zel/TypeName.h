#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <typeinfo>

namespace Zel
{

/// Returns the C++ name of `type` with its namespaces, for example "Zel::System::Commons::XmlException".
[[nodiscard]] ZEL_API String TypeName(const std::type_info& type);

template <typename T>
[[nodiscard]] String TypeName()
{
    return TypeName(typeid(T));
}

/// Returns the name of `type` without namespaces and enclosing classes, those of template arguments included,
/// for example "XmlException" or "NotificationRegistration<SecurityNotificationPayload>".
[[nodiscard]] ZEL_API String ShortTypeName(const std::type_info& type);

} // namespace Zel

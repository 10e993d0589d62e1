#include "Zel/EnumText.h"

#include "Zel/Exception.h"
#include "Zel/TypeName.h"

namespace Zel::Impl
{

void ThrowInvalidEnumValue(const std::type_info& type, const String& value)
{
    throw Exception("Invalid value for Enum '" + ShortTypeName(type) + "' occurs: " + value);
}

} // namespace Zel::Impl

#include "Zel/Services/SoftwareUpdate/SoftwareVersionFileType.h"

#include "Zel/EnumText.h"

namespace Zel::Services::SoftwareUpdate
{

const char* ToString(SoftwareVersionFileType type)
{
    switch (type)
    {
    case SoftwareVersionFileType::Current:
        return "Current";
    case SoftwareVersionFileType::Pending:
        return "Pending";
    case SoftwareVersionFileType::Fallback:
        return "Fallback";
    }
    ThrowInvalidEnumValue(type);
}

} // namespace Zel::Services::SoftwareUpdate

#include "Zel/System/Nm/Severity.h"

#include "Zel/EnumText.h"

namespace Zel::System::Nm
{

const char* ToString(Severity severity)
{
    switch (severity)
    {
    case Severity::Information:
        return "Information";
    case Severity::Warning:
        return "Warning";
    case Severity::Error:
        return "Error";
    }
    ThrowInvalidEnumValue(severity);
}

} // namespace Zel::System::Nm

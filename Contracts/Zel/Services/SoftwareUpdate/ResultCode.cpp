#include "Zel/Services/SoftwareUpdate/ResultCode.h"

#include "Zel/EnumText.h"

namespace Zel::Services::SoftwareUpdate
{

const char* ToString(ResultCode code)
{
    switch (code)
    {
    case ResultCode::Ok:
        return "Ok";
    case ResultCode::GeneralError:
        return "GeneralError";
    case ResultCode::OperationFailed:
        return "OperationFailed";
    case ResultCode::OutOfMemory:
        return "OutOfMemory";
    case ResultCode::AlreadyReverted:
        return "AlreadyReverted";
    case ResultCode::NotSupported:
        return "NotSupported";
    case ResultCode::NotFound:
        return "NotFound";
    case ResultCode::BootedSlotUnavailable:
        return "BootedSlotUnavailable";
    case ResultCode::InvalidArgument:
        return "InvalidArgument";
    case ResultCode::InvalidState:
        return "InvalidState";
    }
    ThrowInvalidEnumValue(code);
}

} // namespace Zel::Services::SoftwareUpdate

#include "Service/RequestResult.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::ResultCode;

namespace
{

/// What a result code means, and what to do about it.
struct Advice
{
    const char* meaning;
    const char* remedy;
};

Advice GetAdvice(ResultCode code)
{
    switch (code)
    {
    case ResultCode::Ok:
        return {"Done.", ""};
    case ResultCode::GeneralError:
        return {"The status store, a slot or a fact about the device could not be accessed.",
                "The log of zel-updated says which one."};
    case ResultCode::OperationFailed:
        return {"The action could not be started or carried out.", "The log of zel-updated says why."};
    case ResultCode::OutOfMemory:
        return {"There is not enough room for the bundle.", "Make room and stage it again."};
    case ResultCode::AlreadyReverted:
        return {"The last installation is reverted already.", "Install a version before the next revert."};
    case ResultCode::NotSupported:
        return {"This device's updater does not support the request.", ""};
    case ResultCode::NotFound:
        return {"There is no such version.", "'zelupdate versions' shows which there are."};
    case ResultCode::BootedSlotUnavailable:
        return {"The booted slot is not known, and a confirmation timeout is set.",
                "Mend RAUC's configuration, or set the service's ConfirmationTimeout to 0."};
    case ResultCode::InvalidArgument:
        return {"A value is invalid.", "'zelupdate versions' shows what can be installed."};
    case ResultCode::InvalidState:
        return {"The request does not fit the component's state.", "Look at its state and try again."};
    }
    return {"Unknown result.", ""};
}

} // namespace

RequestResult RequestResult::Done(String text)
{
    return {{}, std::move(text)};
}

RequestResult RequestResult::Refused(String error, String text)
{
    return {std::move(error), std::move(text)};
}

RequestResult RequestResult::FromCode(ResultCode code, const String& reason)
{
    if (code == ResultCode::Ok)
    {
        return Done();
    }
    const Advice advice = GetAdvice(code);
    const String text = reason.empty() ? advice.meaning : reason;
    return Refused(ToString(code), *advice.remedy == '\0' ? text : text + " " + advice.remedy);
}

} // namespace Zel::Host::Service

#pragma once

#include "Zel/Services/SoftwareUpdate/ResultCode.h"
#include "Zel/String.h"

#include <functional>

namespace Zel::Host::Service
{

/// How a request to a component ended.
struct RequestResult
{
    /// Error names besides those of the result codes.
    inline static const String Busy = "Busy";
    inline static const String TryLater = "TryLater";

    /// The error's name as the bus API has it, without its prefix, for example "InvalidState"; empty for a
    /// success.
    String error;
    /// For a success what the request yields, empty for most; else the reason, and what to do about it.
    String text;

    [[nodiscard]] bool IsOk() const noexcept { return error.empty(); }

    [[nodiscard]] static RequestResult Done(String text = {});
    [[nodiscard]] static RequestResult Refused(String error, String text);

    /// Returns `Done` for `Ok`. For another code the text is `reason`, or one that says what the code means,
    /// followed by what to do.
    [[nodiscard]] static RequestResult FromCode(Services::SoftwareUpdate::ResultCode code,
                                                const String& reason = {});
};

/// Called once, on the loop's thread.
using Completion = std::function<void(const RequestResult& result)>;

} // namespace Zel::Host::Service

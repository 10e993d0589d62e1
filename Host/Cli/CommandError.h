#pragma once

#include "Cli/ExitCode.h"

#include "Zel/Exception.h"
#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// Ends a command with an exit code. The one way in which the command line's parts report a failure;
/// `Application` catches it and prints it.
class CommandError : public Exception
{
public:
    /// `reason` is one sentence for the operator; `next` says what to do about it and may be empty.
    CommandError(ExitCode exitCode, String reason, String next = {});

    [[nodiscard]] ExitCode GetExitCode() const noexcept { return exitCode; }

    [[nodiscard]] const String& GetNext() const noexcept { return next; }

private:
    ExitCode exitCode;
    String next;
};

} // namespace Zel::Host::Cli

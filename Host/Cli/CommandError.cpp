#include "Cli/CommandError.h"

#include <utility>

namespace Zel::Host::Cli
{

CommandError::CommandError(ExitCode exitCode, String reason, String next)
    : Exception(std::move(reason)), exitCode(exitCode), next(std::move(next))
{
}

} // namespace Zel::Host::Cli

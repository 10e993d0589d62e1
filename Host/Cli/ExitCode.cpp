#include "Cli/ExitCode.h"

#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

String DescribeExitCodes()
{
    String text;
    for (const ExitCodeRow& row : ExitCodeRows)
    {
        text += System::Core::Format("  {0:<3} {1}\n", row.code, row.meaning);
    }
    return text;
}

} // namespace Zel::Host::Cli

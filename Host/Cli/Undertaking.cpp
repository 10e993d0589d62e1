#include "Cli/Undertaking.h"

#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Core::Format;

String Undertaking::GetName() const
{
    return IsRevert() ? "revert" : "installation";
}

String Undertaking::DescribeVersion() const
{
    if (version.empty())
    {
        return kind == Api::Kind::Install    ? "the pending version"
               : kind == Api::Kind::Fallback ? "the fallback version"
               : kind == Api::Kind::Revert   ? "the earlier version"
                                             : "the new version";
    }
    return (kind == Api::Kind::Fallback ? "the fallback version " : "version ") + version;
}

String Undertaking::Describe() const
{
    return Format("the {0} {1} {2}", GetName(), IsRevert() ? "to" : "of", DescribeVersion());
}

} // namespace Zel::Host::Cli

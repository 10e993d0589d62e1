#include "Cli/Commands/Bundle.h"

#include "Cli/BundleFile.h"
#include "Zel/System/Core/Format.h"

namespace Zel::Host::Cli
{

using System::Commons::Io::FileDescriptor;
using System::Core::Format;

FileDescriptor OpenBundle(const Session& session)
{
    return OpenBundle(session.GetArguments().file.value_or(""), session.GetInterrupts());
}

String StageBundle(Session& session, BusClient& client, const FileDescriptor& bundle)
{
    session.GetOutput().WriteLine(Format("Handing over {0} ...", bundle.GetPath()));
    String version = client.Stage(bundle.Get());
    client.Refresh();
    session.GetOutput().WriteLine(Format("The bundle is verified: version {0}.", version));
    return version;
}

} // namespace Zel::Host::Cli

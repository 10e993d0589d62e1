#pragma once

#include "Cli/BusClient.h"
#include "Cli/Session.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

namespace Zel::Host::Cli
{

/// Opens the bundle that the arguments name. Throws `CommandError`.
[[nodiscard]] System::Commons::Io::FileDescriptor OpenBundle(const Session& session);

/// Hands a bundle over and says so. Returns its version.
[[nodiscard]] String StageBundle(Session& session, BusClient& client,
                                 const System::Commons::Io::FileDescriptor& bundle);

} // namespace Zel::Host::Cli

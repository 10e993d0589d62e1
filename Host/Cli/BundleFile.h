#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

namespace Zel::Host::Cli
{

/// Opens a bundle for reading. Throws `CommandError`: not found, not allowed, or rejected when it is a link
/// or anything else than a regular file. A FIFO does not block.
[[nodiscard]] System::Commons::Io::FileDescriptor OpenBundle(const String& path);

} // namespace Zel::Host::Cli

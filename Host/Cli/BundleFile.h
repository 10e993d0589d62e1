#pragma once

#include "Cli/InterruptSignals.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

namespace Zel::Host::Cli
{

/// What stands for standard input instead of a path.
inline const String StandardInput = "-";

/// Opens a bundle for reading. Throws `CommandError`: not found, not allowed, or rejected when it is a link
/// or anything else than a regular file. A FIFO does not block. For "-" standard input is copied to its end
/// into a file without a name first, in `TMPDIR` or else in /var/tmp; it is refused (usage) when it is a
/// terminal, with "try later" when it does not fit, and as failed when that folder takes no file. Throws
/// `Interrupted`.
[[nodiscard]] System::Commons::Io::FileDescriptor OpenBundle(const String& path,
                                                             const InterruptSignals& interrupts);

} // namespace Zel::Host::Cli
